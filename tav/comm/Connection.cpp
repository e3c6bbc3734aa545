#include "tav/comm/Connection.h"

#include "tav/comm/CommException.h"
#include "tav/comm/LayerText.h"
#include "tav/comm/MessageStream.h"
#include "tav/comm/Socket.h"
#include "tav/comm/clscContext.h"
#include "tav/comm/commLog.h"
#include "tav/registry/clsgenv.h"

#include <algorithm>
#include <cstdint>
#include <iostream>
#include <memory>

namespace TAV {

constinit clscugblm* invkcmdugblm = nullptr;
constinit cls_thrIMx s_uiugblmmutex;

namespace {

/// Names and keys of replies.
constexpr const char* ORDER = "ORDER";
constexpr const char* ORDER_MESSAGE = "MESSAGE";
constexpr const char* ORDER_WAIT = "WAIT";

constexpr const char* VORND_SOCKET = "VORND_UI_SOCKET";
constexpr const char* TORVD_SOCKET = "TORVD_UI_SOCKET";

/// The lookup of a connect string opens the configuration environment; it is ended on every way
/// out.
class EnvironmentEnd {
public:
    EnvironmentEnd() = default;
    ~EnvironmentEnd() { clsgenvterm(); }
    EnvironmentEnd(const EnvironmentEnd&) = delete;
    EnvironmentEnd& operator=(const EnvironmentEnd&) = delete;
};

/// Closes and frees a connection on every way out: a process that sends many requests must not
/// collect them.
class SocketRelease {
public:
    explicit SocketRelease(Socket& socket) : m_socket(socket) {}
    ~SocketRelease() { m_socket.release(); }
    SocketRelease(const SocketRelease&) = delete;
    SocketRelease& operator=(const SocketRelease&) = delete;

private:
    Socket& m_socket;
};

/// The global area of daemon connections, null when it cannot be made.
clscugblm* daemonArea(clscctx* context) {
    const StaticLock lock(s_uiugblmmutex);
    if (invkcmdugblm != nullptr) return invkcmdugblm;
    clscugblm* area = nullptr;
    const int result = clscugblmini(context, &area, 0);
    if (result != CLSC_OK) {
        commOut(" error - clscugblmini", "ret = ", result);
        return nullptr;
    }
    invkcmdugblm = area;
    return area;
}

/// Whether the connect string could be made. A result that is not examined leaves it empty, and
/// connecting to it fails.
bool daemonAddress(char* address, bool toTorvd) {
    const int result = clsvorn_getconnstr(address, toTorvd ? TORVD_SOCKET : VORND_SOCKET,
                                          toTorvd ? CLSVORN_DAEMON_TORVD : CLSVORN_DAEMON_VORND);
    if (result == CLSVORN_NONODE) commTrace(" QUORD could not retrieve the node name.");
    if (result == CLSVORN_KEYLONG) commOut(" The generated key was too long.");
    return result != CLSVORN_NONODE && result != CLSVORN_KEYLONG;
}

/// The leading digits' value, 0 without any, as long a wait as there may be when it is longer.
unsigned int waitSeconds(const std::string& text) {
    std::uint64_t seconds = 0;
    for (const char c : text) {
        if (c < '0' || c > '9') break;
        seconds = std::min<std::uint64_t>(seconds * 10 + static_cast<unsigned>(c - '0'),
                                          Connection::MAX_WAIT_S);
    }
    return static_cast<unsigned int>(seconds);
}

/// Waits for the next reply; CONNECTION_OK when there is something to read.
int awaitReply(clscugblm* area, unsigned int wait) {
    constexpr std::uint64_t MS_PER_S = 1000;
    constexpr std::uint64_t TICKS_PER_S = 10;
    commOut(" Waiting for ", wait, " seconds");
    switch (clscselect(area, DummyEvtHdlr, wait * MS_PER_S, wait * TICKS_PER_S, CLSC_SELECT_FLAG)) {
    case CLSC_OK:
        return CONNECTION_OK;
    case CLSC_TIMEOUT:
        commOut(" Response time exceeded (wait=", wait, ")");
        return CONNECTION_TIMED_OUT;
    case CLSC_FATAL:
        commError(" CLSC Fatal Select Error.");
        raiseAs<FatalCommsException>(FATAL_TEXT);
    default:
        commError(" Error on fd");
        return CONNECTION_READ_FAILED;
    }
}

} // namespace

int DummyEvtHdlr(void*, void*, unsigned, void*) {
    return 0;
}

Connection::Connection() : m_out(std::cout) {}

Connection::Connection(bool quiet, std::ostream& out) : m_out(out), m_quiet(quiet) {}

int Connection::invokecmd(const Container& request, Container** reply, bool toTorvd,
                          OrderHandler* handler) {
    clscctx* const context = tavinitclscctx(false);
    if (context == nullptr) return CONNECTION_SETUP_FAILED;
    clscugblm* const area = daemonArea(context);
    if (area == nullptr) return CONNECTION_SETUP_FAILED;
    const EnvironmentEnd environmentEnd;
    char address[CLSC_ADDRESS_SIZE] = {};
    if (!daemonAddress(address, toTorvd)) return CONNECTION_SETUP_FAILED;
    try {
        Socket socket(context, area, reinterpret_cast<unsigned char*>(address), CLSC_OPT_LOCAL);
        const SocketRelease socketRelease(socket);
        return request_reply_(&socket, request, reply, handler);
    } catch (const IOException& error) {
        commOut(" Cannot connect to socket ", address, "  ", error);
        return CONNECTION_SETUP_FAILED;
    }
}

int Connection::request_reply_(Socket* socket, const Container& request, Container** reply,
                               OrderHandler* handler) {
    *reply = nullptr;
    MessageStream stream(socket);
    try {
        stream.writeMessage(request);
    } catch (const IOException& error) {
        commError(" Error writing request ", error);
        return CONNECTION_WRITE_FAILED;
    }
    unsigned int wait = 0;
    while (true) {
        if (wait > 0) {
            const int waited = awaitReply(socket->getUgblm(), wait);
            if (waited != CONNECTION_OK) return waited;
        }
        std::unique_ptr<Container> container;
        const int result = readReply(stream, container);
        if (result != CONNECTION_OK) return result;
        const std::string& name = container->GetName();
        commOut(" NAME: `", name, "` length=", name.size());
        if (name != ORDER) {
            *reply = container.release();
            commOut(" Successfully read response");
            return CONNECTION_OK;
        }
        takeOrder(*container, wait, handler);
    }
}

int Connection::readReply(MessageStream& stream, std::unique_ptr<Container>& reply) {
    std::unique_ptr<Message> message;
    try {
        message.reset(stream.readMessage());
    } catch (const IOException& error) {
        commError(" Error reading response ", error);
        return CONNECTION_READ_FAILED;
    }
    Container* const container = asContainer(message.get());
    if (container == nullptr) return CONNECTION_NOT_A_CONTAINER;
    static_cast<void>(message.release());
    reply.reset(container);
    return CONNECTION_OK;
}

void Connection::takeOrder(const Container& order, unsigned int& wait, OrderHandler* handler) {
    const std::string text = order.GetProperty(ORDER_MESSAGE);
    const std::string waitText = order.GetProperty(ORDER_WAIT);
    if (!waitText.empty()) wait = waitSeconds(waitText);
    if (handler != nullptr) {
        handler->handleOrder(text, wait);
    } else if (!m_quiet && !text.empty()) {
        m_out << text << std::endl;
    }
}

} // namespace TAV
