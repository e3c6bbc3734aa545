#pragma once

#include "platform/local/socket_address.h"
#include "platform/local/wakeup.h"

#include <vector>

namespace platform {

/// Connects to the first of several addresses that answers, without blocking longer than asked.
/// The time is shared out among the addresses, so that a silent first one does not use up the time
/// of the others. Used by one thread at a time.
class Connector {
public:
    /// `trusted_only`: the peer must be one that is_trusted_peer accepts.
    Connector(std::vector<SocketAddress> candidates, bool trusted_only, const Deadline& limit);

    /// Goes on until the connection stands (CLSC_OK), `until` passes (CLSC_TIMEOUT), the wake-up is
    /// fired (CLSC_INVALID) or no address is left (what became of the last one).
    int advance(const Deadline& until, const Wakeup& wakeup);
    /// True when no address is left, so that advancing further is of no use.
    [[nodiscard]] bool failed() const { return m_phase == Phase::failed; }

    /// The connected socket, once.
    Descriptor take() { return std::move(m_socket); }

private:
    enum class Phase { next_candidate, attempt, connecting, backlog_full, connected, failed };

    void start_candidate();
    void attempt();
    void finish_connecting();
    bool await_answer(const Deadline& until, const Wakeup& wakeup);
    bool await_backlog(const Deadline& until, const Wakeup& wakeup);
    void check_peer();
    void give_up_candidate(int result);

    std::vector<SocketAddress> m_candidates;
    const bool m_trusted_only;
    const Deadline m_limit;
    Phase m_phase = Phase::next_candidate;
    std::size_t m_next = 0; ///< the candidate after the one that is being tried
    Deadline m_candidate_limit = Deadline::never();
    Descriptor m_socket;
    int m_result = CLSC_REFUSED; ///< of the last candidate given up
};

/// What every connected or accepted TCP socket is set to.
void prepare_tcp(int fd);

} // namespace platform
