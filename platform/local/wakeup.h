#pragma once

#include "platform/local/deadline.h"
#include "platform/local/descriptor.h"

#include <atomic>
#include <mutex>

namespace platform {

/// Ends the waits on a socket from another thread: once fired it stays so until it is rearmed.
/// Firing never blocks and touches no socket, so the socket may be in use meanwhile.
class Wakeup {
public:
    /// False with errno set when there is no descriptor left.
    bool open();
    void fire();
    /// Makes a fired one fit for further waits: however often it was fired, none of it is left.
    void rearm();
    [[nodiscard]] bool fired() const { return m_fired.load(std::memory_order_acquire); }
    [[nodiscard]] int descriptor() const { return m_event.get(); }

private:
    std::mutex m_mutex; ///< keeps flag and descriptor alike
    Descriptor m_event;
    std::atomic<bool> m_fired{false};
};

enum class Wait { ready, woken, timed_out, interrupted, failed };

/// Waits until `fd` has one of poll's `events` (an ended peer counts), the wake-up is fired, the
/// deadline passes or a signal comes. A negative `fd` only pauses.
Wait wait_for(int fd, short events, const Wakeup& wakeup, const Deadline& deadline);

} // namespace platform
