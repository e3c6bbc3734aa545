#pragma once

#include <unistd.h>

#include <cerrno>
#include <utility>

namespace platform {

/// Owns one file descriptor and closes it.
class Descriptor {
public:
    Descriptor() = default;
    explicit Descriptor(int fd) : m_fd(fd) {}
    Descriptor(Descriptor&& other) noexcept : m_fd(other.release()) {}
    Descriptor& operator=(Descriptor&& other) noexcept {
        if (this != &other) reset(other.release());
        return *this;
    }
    ~Descriptor() { reset(); }

    [[nodiscard]] int get() const { return m_fd; }
    [[nodiscard]] explicit operator bool() const { return m_fd >= 0; }
    void reset(int fd = -1) {
        if (m_fd >= 0) {
            const int saved = errno; // closing must not hide why the descriptor is given up
            close(m_fd);
            errno = saved;
        }
        m_fd = fd;
    }
    /// Gives the descriptor up without closing it.
    int release() { return std::exchange(m_fd, -1); }

private:
    int m_fd = -1;
};

} // namespace platform
