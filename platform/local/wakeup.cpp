#include "platform/local/wakeup.h"

#include <poll.h>
#include <sys/eventfd.h>

#include <array>

namespace platform {

bool Wakeup::open() {
    m_event.reset(eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK));
    return static_cast<bool>(m_event);
}

void Wakeup::fire() {
    const std::lock_guard lock(m_mutex);
    m_fired.store(true, std::memory_order_release);
    const eventfd_t one = 1;
    // A full counter is as readable as any, so a refused write loses nothing.
    if (m_event) eventfd_write(m_event.get(), one);
}

void Wakeup::rearm() {
    const std::lock_guard lock(m_mutex);
    eventfd_t count = 0;
    m_fired.store(false, std::memory_order_release);
    if (m_event) eventfd_read(m_event.get(), &count);
}

Wait wait_for(int fd, short events, const Wakeup& wakeup, const Deadline& deadline) {
    std::array<pollfd, 2> descriptors{pollfd{fd, events, 0},
                                      pollfd{wakeup.descriptor(), POLLIN, 0}};
    while (!wakeup.fired()) {
        const int count = poll(descriptors.data(), descriptors.size(), deadline.poll_timeout());
        if (count < 0) return errno == EINTR ? Wait::interrupted : Wait::failed;
        if (descriptors[1].revents != 0) break;
        if (count > 0) return Wait::ready;
        if (deadline.passed()) return Wait::timed_out;
    }
    return Wait::woken;
}

} // namespace platform
