#include "platform/local/connector.h"

#include "platform/local/peer_user.h"

#include <netinet/in.h>
#include <netinet/tcp.h>
#include <poll.h>

#include <cerrno>
#include <chrono>
#include <cstring>

namespace platform {

namespace {

/// How often a listener whose queue is full is asked again: the system tells of no room by itself.
constexpr std::chrono::milliseconds BACKLOG_PAUSE{10};

/// A port that nobody listens at can, when the system picks it for the caller's own end, connect a
/// socket with itself.
bool is_connected_to_itself(int fd) {
    const std::string own = connect_string(fd, true);
    return own == connect_string(fd, false);
}

} // namespace

void prepare_tcp(int fd) {
    const int on = 1;
    // Messages are answered one by one: none must wait for the next. Dead hosts must show some day.
    setsockopt(fd, IPPROTO_TCP, TCP_NODELAY, &on, sizeof on);
    setsockopt(fd, SOL_SOCKET, SO_KEEPALIVE, &on, sizeof on);
}

Connector::Connector(std::vector<SocketAddress> candidates, bool trusted_only,
                     const Deadline& limit)
    : m_candidates(std::move(candidates)), m_trusted_only(trusted_only), m_limit(limit) {}

int Connector::advance(const Deadline& until, const Wakeup& wakeup) {
    if (m_phase == Phase::backlog_full) m_phase = Phase::attempt;
    while (true) {
        if (wakeup.fired()) return CLSC_INVALID;
        switch (m_phase) {
        case Phase::next_candidate:
            start_candidate();
            break;
        case Phase::attempt:
            attempt();
            break;
        case Phase::connecting:
            if (!await_answer(until, wakeup)) return CLSC_TIMEOUT;
            break;
        case Phase::backlog_full:
            if (!await_backlog(until, wakeup)) return CLSC_TIMEOUT;
            break;
        case Phase::connected:
            return CLSC_OK;
        case Phase::failed:
            return m_result;
        }
    }
}

void Connector::start_candidate() {
    if (m_next == m_candidates.size()) {
        m_phase = Phase::failed;
        return;
    }
    const auto left = static_cast<std::int64_t>(m_candidates.size() - m_next);
    m_candidate_limit = Deadline::after(m_limit.remaining() / left);
    const SocketAddress& address = m_candidates[m_next++];
    m_socket.reset(socket(address.family(), SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0));
    if (!m_socket) return give_up_candidate(clsc_result_of(errno, CLSC_REFUSED));
    if (address.family() != AF_UNIX) prepare_tcp(m_socket.get());
    m_phase = Phase::attempt;
}

void Connector::attempt() {
    const SocketAddress& address = m_candidates[m_next - 1];
    if (connect(m_socket.get(), address.get(), address.length) == 0) return check_peer();
    if (errno == EINPROGRESS || errno == EALREADY || errno == EINTR)
        m_phase = Phase::connecting;
    else if (errno == EAGAIN && address.family() == AF_UNIX)
        m_phase = Phase::backlog_full;
    else
        give_up_candidate(clsc_result_of(errno, CLSC_REFUSED));
}

bool Connector::await_answer(const Deadline& until, const Wakeup& wakeup) {
    const Deadline limit = Deadline::earlier(until, m_candidate_limit);
    switch (wait_for(m_socket.get(), POLLOUT, wakeup, limit)) {
    case Wait::ready:
        finish_connecting();
        return true;
    case Wait::failed:
        give_up_candidate(CLSC_FATAL);
        return true;
    case Wait::timed_out:
        if (!m_candidate_limit.passed()) return false;
        give_up_candidate(CLSC_TIMEOUT);
        return true;
    case Wait::interrupted:
    case Wait::woken:
        break;
    }
    return true;
}

bool Connector::await_backlog(const Deadline& until, const Wakeup& wakeup) {
    if (m_candidate_limit.passed()) {
        give_up_candidate(CLSC_TIMEOUT);
        return true;
    }
    if (until.passed()) return false;
    wait_for(-1, 0, wakeup, Deadline::earlier(until, Deadline::after(BACKLOG_PAUSE)));
    m_phase = Phase::attempt;
    return true;
}

void Connector::finish_connecting() {
    int error = 0;
    socklen_t length = sizeof error;
    if (getsockopt(m_socket.get(), SOL_SOCKET, SO_ERROR, &error, &length) != 0) error = errno;
    if (error != 0) return give_up_candidate(clsc_result_of(error, CLSC_REFUSED));
    check_peer();
}

void Connector::check_peer() {
    const bool is_ipc = m_candidates[m_next - 1].family() == AF_UNIX;
    const bool refused = (m_trusted_only && !is_trusted_peer(m_socket.get())) ||
                         (!is_ipc && is_connected_to_itself(m_socket.get()));
    if (refused) return give_up_candidate(CLSC_REFUSED);
    m_phase = Phase::connected;
}

void Connector::give_up_candidate(int result) {
    m_socket.reset();
    m_result = result;
    // Without descriptors or memory the next address would fare no better.
    m_phase = result == CLSC_FATAL ? Phase::failed : Phase::next_candidate;
}

} // namespace platform
