#include "tav/cluster/Cluster.h"
#include "tav/cluster/tavcls.h"
#include "tav/comm/CommException.h"
#include "tav/comm/Connection.h"
#include "tav/comm/OpenConns.h"
#include "tav/comm/PeerAddresses.h"
#include "tav/comm/Socket.h"
#include "tav/comm/clscContext.h"
#include "tav/comm/commLog.h"

#include <algorithm>
#include <cstdint>
#include <limits>
#include <memory>

// Requests to the daemons of other nodes.

namespace TAV {

constinit clscugblm* invkprugblm = nullptr;
constinit cls_thrIMx s_e2eugblmmutex;

namespace {

constexpr const char* NO_AREA = " error connecting to host - ";

clscugblm* peerArea(clscctx* context) {
    const StaticLock lock(s_e2eugblmmutex);
    if (invkprugblm != nullptr) return invkprugblm;
    clscugblm* area = nullptr;
    const int result = clscugblmini(context, &area, 0);
    if (result != CLSC_OK) {
        commError(NO_AREA, "clscugblmini", " ret = ", result);
        return nullptr;
    }
    return invkprugblm = area;
}

std::unique_ptr<Socket> connectTo(std::string address, clscctx* context, clscugblm* area) {
    return std::make_unique<Socket>(context, area, reinterpret_cast<unsigned char*>(address.data()),
                                    CLSC_OPT_PEER);
}

/// A socket to the node's daemon, connecting; null when there is none to be had. A connect string
/// that was kept from before may be out of date: it is read anew, once.
std::unique_ptr<Socket> openPeer(const std::string& node, clscctx* context, clscugblm* area,
                                 std::string address) {
    try {
        return connectTo(address, context, area);
    } catch (const IOException&) {
        if (!refreshPeerAddress(node, address)) return nullptr;
    }
    try {
        return connectTo(address, context, area);
    } catch (const IOException&) {
        commTrace(" CLSC connection failed, second attempt");
        return nullptr;
    }
}

/// The table's entry and the connection itself, both gone on every way out.
class OpenPeer {
public:
    OpenPeer(const std::string& node, Socket& socket) : m_node(node), m_socket(socket) {
        OpenConns::addNewConn(m_node, &m_socket);
    }
    ~OpenPeer() {
        OpenConns::deleteStaleConn(m_node, &m_socket);
        m_socket.release();
    }
    OpenPeer(const OpenPeer&) = delete;
    OpenPeer& operator=(const OpenPeer&) = delete;

private:
    const std::string& m_node;
    Socket& m_socket;
};

/// How long to wait in each pass: twice as long after every ten passes.
class Steps {
public:
    std::uint64_t next(unsigned pass) {
        if (pass % PASSES_PER_STEP == 0) m_step = std::min(m_step * 2, LONGEST_MS);
        return m_step;
    }
    static constexpr unsigned PASSES = 60000;

private:
    static constexpr unsigned PASSES_PER_STEP = 10;
    static constexpr std::uint64_t LONGEST_MS = std::numeric_limits<int>::max();
    std::uint64_t m_step = 50;
};

bool timedOut(const std::string& node, unsigned limit_s) {
    commTrace(" VORND is unable to connect to host: ", node,
              " due to connection time out, waited for: ", limit_s, " seconds.");
    return false;
}

/// Waits until the connection is established, as long as a failed node may take to be found out.
bool awaitConnected(Socket& socket, const std::string& node, unsigned limit_s) {
    constexpr std::uint64_t MS_PER_S = 1000;
    const std::uint64_t limit_ms = limit_s * MS_PER_S;
    std::uint64_t elapsed_ms = 0;
    Steps steps;
    for (unsigned pass = 0; pass < Steps::PASSES; ++pass) {
        const std::uint64_t step_ms = steps.next(pass);
        elapsed_ms += step_ms;
        if (elapsed_ms >= limit_ms || !socket.connisValid()) return timedOut(node, limit_s);
        const int result =
            clscwaitconnectcompl(socket.getHandle(), static_cast<unsigned>(step_ms), 0);
        if (result == CLSC_OK) return true;
        if (result != CLSC_TIMEOUT) {
            commTrace(" CLSC connect failed to", node, "ret = ", result);
            return false;
        }
        commOut(" Retrying after CLSC timeout to", node);
    }
    return true;
}

/// The cluster's recovery time in seconds; false without the synchronization service.
bool recoveryTime(unsigned& seconds) {
    if (tavclsgetctx() == nullptr && tavclsinitctx() != 0) return false;
    seconds = clsssrecoverytime(tavclsgetctx());
    return true;
}

} // namespace

int Connection::invokepeer(const Container& request, Container** reply, const std::string& node) {
    return invokepeer(request, reply, node, nullptr);
}

int Connection::invokepeer(const Container& request, Container** reply, const std::string& node,
                           OrderHandler* handler) {
    try {
        std::string address;
        if (!findPeerAddress(node, address)) return CONNECTION_SETUP_FAILED;
        clscctx* const context = tavgetclscctx();
        if (context == nullptr) {
            commError(NO_AREA, "clscinit", " ret = ", 0);
            return CONNECTION_SETUP_FAILED;
        }
        clscugblm* const area = peerArea(context);
        if (area == nullptr) return CONNECTION_SETUP_FAILED;
        const std::unique_ptr<Socket> socket = openPeer(node, context, area, address);
        if (!socket) return CONNECTION_SETUP_FAILED;
        return invokeConnectedPeer(*socket, request, reply, node, handler);
    } catch (const UnknownHostException&) {
        commError(" bad hostname ", node);
    } catch (const ClusterException& error) {
        commError(" Invalid cluster member name specified", error);
    } catch (const IOException& error) {
        commError(" Error connecting to VORN remote daemon: ", error);
    }
    return CONNECTION_SETUP_FAILED;
}

int Connection::invokeConnectedPeer(Socket& socket, const Container& request, Container** reply,
                                    const std::string& node, OrderHandler* handler) {
    const OpenPeer open(node, socket);
    unsigned limit_s = 0;
    if (!recoveryTime(limit_s)) return CONNECTION_SETUP_FAILED;
    if (!awaitConnected(socket, node, limit_s)) {
        // Over a network a refusal comes only now: the address must not stay for good.
        forgetPeerAddress(node);
        return CONNECTION_SETUP_FAILED;
    }
    return request_reply_(&socket, request, reply, handler);
}

} // namespace TAV
