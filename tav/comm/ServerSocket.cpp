#include "tav/comm/ServerSocket.h"

#include "tav/comm/CommException.h"
#include "tav/comm/LayerText.h"
#include "tav/comm/Socket.h"
#include "tav/comm/commLog.h"

#include <functional>
#include <new>

namespace TAV {

namespace {

/// What the layer is asked for a new connection's addresses with.
constexpr unsigned ADDRESS_SIZE = 256;
constexpr unsigned ADDRESS_PEER = 0;

[[noreturn]] void listenFailed(int result, const unsigned char* address) {
    if (result == CLSC_FATAL) {
        commError(" CLSC Fatal Listen Error.", "Address=", layerText(address));
        raiseAs<FatalCommsException>(FATAL_TEXT);
    }
    if (result == CLSC_INUSE) raiseAs<EndPointException>("clsclisten failed, port in use");
    raiseAs<IOException>("clsclisten failed with ret " + std::to_string(result));
}

[[noreturn]] void answerFailed(int result, clsccon* connection) {
    if (result == CLSC_FATAL) {
        commError(" CLSC Fatal Accept Error.");
        raiseAs<FatalCommsException>(FATAL_TEXT);
    }
    clscdisc(connection);
    clscrelease(connection);
    raiseAs<IOException>("Error answering connect request " + std::to_string(result));
}

} // namespace

ServerSocket::ServerSocket(clscctx* ctx, clscugblm* ugblm, unsigned char* address,
                           const unsigned char* authLocation)
    : m_clscCtx(ctx), m_ugblm(ugblm) {
    try {
        if (authLocation != nullptr) m_authLocation = layerText(authLocation);
    } catch (const std::bad_alloc&) {
        raiseAs<IOException>("allocating memory for authloc");
    }
    const int result = clsclisten(ugblm, address, &m_handle);
    if (result != CLSC_OK) listenFailed(result, address);
}

ServerSocket::~ServerSocket() {
    clscrelease(m_closed);
}

int ServerSocket::accept(Socket* into, bool flag) {
    unsigned char user[Socket::USERNAME_SIZE] = {};
    const unsigned wait = flag ? unsigned{CLSC_MODE_WAIT} : 0;
    clsccon* connection = nullptr;
    const int result = m_authLocation
                           ? clscanswer(m_handle, 0, &connection, 0, 0, user, sizeof user, CLSC_K60,
                                        CLSC_MODE_AUTH | wait)
                           : clscanswer(m_handle, 0, &connection, 0, 0, nullptr, 0, 0, wait);
    if (result == CLSC_NOTHING) return result;
    if (result != CLSC_OK) answerFailed(result, connection);
    unsigned char address[ADDRESS_SIZE] = {};
    clscgetaddr(connection, address, sizeof address, CLSC_ADDR_LOCAL);
    clscgetaddr(connection, address, sizeof address, ADDRESS_PEER);
    *into = Socket(m_clscCtx, m_ugblm, connection, m_authLocation ? user : nullptr);
    return result;
}

clsccon* ServerSocket::getHandle() const {
    return m_handle;
}

clscctx* ServerSocket::getClscCtx() const {
    return m_clscCtx;
}

clscugblm* ServerSocket::getUgblm() const {
    return m_ugblm;
}

void ServerSocket::interruptConnection() {
    commTrace(QUIESCING, static_cast<const void*>(m_handle));
    if (m_handle != nullptr) clscconquiesce(m_handle, 0);
}

void ServerSocket::close() {
    if (m_handle == nullptr) return;
    clscdisc(m_handle);
    // A thread may still be on its way out of the handle: it is freed with this object.
    m_closed = m_handle;
    m_handle = nullptr;
}

bool ServerSocket::operator<(const ServerSocket& other) const {
    return std::less<>()(m_handle, other.m_handle);
}

bool ServerSocket::operator==(const ServerSocket& other) const {
    return m_handle == other.m_handle;
}

} // namespace TAV
