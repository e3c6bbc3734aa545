#include "tav/comm/Socket.h"

#include "platform/include/message_format.h"
#include "tav/comm/CommException.h"
#include "tav/comm/LayerText.h"
#include "tav/comm/commLog.h"

#include <functional>

namespace TAV {

Socket::Socket() = default;

Socket::Socket(clscctx* ctx, clscugblm* ugblm, unsigned char* address, unsigned int options)
    : m_clscCtx(ctx), m_ugblm(ugblm), m_options(options) {
    const int result =
        clscconnect(ugblm, address, nullptr, &m_handle, 0, 0, 0, 0, CLSC_K60, options);
    if (result == CLSC_OK) return;
    if (result == CLSC_FATAL) {
        commError(" CLSC Fatal Connect Error.", "Address=", layerText(address));
        raiseAs<FatalCommsException>(FATAL_TEXT);
    }
    raiseAs<IOException>("clscconnect to " + layerText(address) + " failed with ret " +
                         std::to_string(result));
}

Socket::Socket(clscctx* ctx, clscugblm* ugblm, clsccon* handle, const unsigned char* username)
    : m_clscCtx(ctx), m_ugblm(ugblm), m_authenticated(username != nullptr), m_handle(handle) {
    copy_cut(m_username, USERNAME_SIZE, layerText(username));
}

Socket::Socket(const Socket& other) : m_valid(other.m_valid.load()) {
    *this = other;
}

Socket& Socket::operator=(const Socket& other) {
    if (this == &other) return *this;
    m_clscCtx = other.m_clscCtx;
    m_ugblm = other.m_ugblm;
    m_handle = other.m_handle;
    m_authenticated = other.m_authenticated;
    copy_cut(m_username, USERNAME_SIZE, other.m_username);
    m_options = 0;
    return *this;
}

Socket::~Socket() = default;

clsccon* Socket::getHandle() const {
    return m_handle;
}

clscctx* Socket::getClscCtx() const {
    return m_clscCtx;
}

clscugblm* Socket::getUgblm() const {
    return m_ugblm;
}

bool Socket::isAuthenticated() {
    return m_authenticated;
}

const char* Socket::getUsername() {
    return m_username;
}

void Socket::close() {
    if (m_handle == nullptr) return;
    clscdisc(m_handle);
    m_handle = nullptr;
}

void Socket::release() {
    clsccon* const handle = m_handle;
    close();
    clscrelease(handle);
}

void Socket::interruptConnection() {
    commTrace(QUIESCING, static_cast<const void*>(m_handle));
    if (m_handle != nullptr) clscconquiesce(m_handle, 0);
    m_valid = false;
}

bool Socket::connisValid() {
    return m_valid;
}

bool Socket::operator<(const Socket& other) const {
    return std::less<>()(getHandle(), other.getHandle());
}

bool Socket::operator==(const Socket& other) const {
    return getHandle() == other.getHandle();
}

int Socket::tav_clssend(clscmsgh* message, unsigned int length) {
    if (!m_valid) return CLSC_INVALID;
    return clscsend(m_handle, message, length);
}

int Socket::tav_clsrecv(clscmsgh* buffer, unsigned int length) {
    int result = CLSC_INTERRUPTED;
    while (result == CLSC_INTERRUPTED) {
        if (!m_valid) return CLSC_INVALID;
        result = clscreceive(m_handle, buffer, length, 0, 0, CLSC_MODE_WAIT);
    }
    return result;
}

} // namespace TAV
