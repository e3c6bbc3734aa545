#include "daemons/vornd/Wakeup.h"

#include <sys/eventfd.h>
#include <unistd.h>

#include <cerrno>
#include <cstdint>
#include <system_error>

namespace vornd {

Wakeup::Wakeup() : m_descriptor(eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK)) {
    if (m_descriptor < 0) throw std::system_error(errno, std::generic_category(), "a wake-up");
}

Wakeup::~Wakeup() {
    close(m_descriptor);
}

void Wakeup::wake() const noexcept {
    constexpr std::uint64_t one = 1;
    // A counter that is full is readable as well.
    [[maybe_unused]] const ssize_t done = write(m_descriptor, &one, sizeof one);
}

void Wakeup::clear() const noexcept {
    std::uint64_t count = 0;
    [[maybe_unused]] const ssize_t done = read(m_descriptor, &count, sizeof count);
}

} // namespace vornd
