#include "platform/local/listener.h"

#include "platform/include/node_config.h"
#include "platform/local/connector.h"
#include "platform/local/socket_address.h"

#include <poll.h>
#include <sys/socket.h>

#include <cerrno>
#include <chrono>
#include <vector>

namespace platform {

namespace {

/// Descriptors are freed by the ends of other connections, which take their time.
constexpr std::chrono::milliseconds RESOURCE_PAUSE{100};

/// Faults of the one connection that was about to be accepted, not of the listener.
bool concerns_one_connection(int error) {
    switch (error) {
    case EINTR:
    case ECONNABORTED:
    case EPROTO:
    case EPERM:
    case ENETDOWN:
    case ENOPROTOOPT:
    case EHOSTDOWN:
    case ENONET:
    case EHOSTUNREACH:
    case EOPNOTSUPP:
    case ENETUNREACH:
        return true;
    default:
        return false;
    }
}

} // namespace

int Listener::open(const clsc_address& address, std::shared_ptr<Listener>& listener) {
    auto opened = std::make_shared<Listener>();
    if (!opened->m_wakeup.open()) return clsc_result_of(errno, CLSC_REFUSED);
    int result = address.proto == clsc_address::protocol::ipc ? opened->open_ipc(address.key)
                                                              : opened->open_tcp(address);
    if (result == CLSC_OK && listen(opened->m_socket.get(), SOMAXCONN) != 0)
        result = errno == EADDRINUSE ? CLSC_INUSE : clsc_result_of(errno, CLSC_REFUSED);
    if (result == CLSC_OK) listener = std::move(opened);
    return result;
}

int Listener::open_ipc(const std::string& key) {
    const node_config* const config = node_config_get();
    if (config == nullptr) return CLSC_REFUSED;
    m_socket.reset(socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0));
    if (!m_socket) return clsc_result_of(errno, CLSC_REFUSED);
    return m_file.bind(m_socket.get(), config->runtime_dir, key);
}

int Listener::open_tcp(const clsc_address& address) {
    m_is_tcp = true;
    std::vector<SocketAddress> candidates;
    int result = resolve(address, true, candidates);
    for (const SocketAddress& candidate : candidates) {
        const int on = 1;
        m_socket.reset(socket(candidate.family(), SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0));
        // A restarted daemon must get its port back while old connections linger.
        if (m_socket && setsockopt(m_socket.get(), SOL_SOCKET, SO_REUSEADDR, &on, sizeof on) == 0 &&
            ::bind(m_socket.get(), candidate.get(), candidate.length) == 0)
            return CLSC_OK;
        result = errno == EADDRINUSE ? CLSC_INUSE : clsc_result_of(errno, CLSC_REFUSED);
    }
    return result;
}

int Listener::accept(bool wait, Descriptor& socket) {
    while (!m_wakeup.fired()) {
        socket.reset(accept4(m_socket.get(), nullptr, nullptr, SOCK_CLOEXEC | SOCK_NONBLOCK));
        if (socket) {
            if (m_is_tcp) prepare_tcp(socket.get());
            return CLSC_OK;
        }
        const int error = errno;
        if (error == EAGAIN) {
            if (!wait) return CLSC_NOTHING;
            const Wait ended = wait_for(m_socket.get(), POLLIN, m_wakeup, Deadline::never());
            if (ended == Wait::failed) return CLSC_FATAL;
        } else if (clsc_result_of(error, CLSC_OK) == CLSC_FATAL) {
            if (!wait) return CLSC_FATAL;
            pause_for_resources();
        } else if (!concerns_one_connection(error)) {
            return CLSC_INVALID;
        }
    }
    return CLSC_NOTHING;
}

bool Listener::pause_for_resources() {
    wait_for(-1, 0, m_wakeup, Deadline::after(RESOURCE_PAUSE));
    return !m_wakeup.fired();
}

void Listener::retire() {
    m_file.remove();
    m_wakeup.fire();
}

} // namespace platform
