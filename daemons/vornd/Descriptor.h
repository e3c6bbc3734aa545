#pragma once

#include <unistd.h>

#include <cerrno>
#include <utility>

namespace vornd {

/// An open descriptor, closed at the end; -1 is none.
class Descriptor {
public:
    Descriptor() = default;
    explicit Descriptor(int number) : m_number(number) {}
    ~Descriptor() { reset(); }
    Descriptor(Descriptor&& other) noexcept : m_number(std::exchange(other.m_number, -1)) {}
    Descriptor& operator=(Descriptor&& other) noexcept {
        if (this != &other) {
            reset();
            m_number = std::exchange(other.m_number, -1);
        }
        return *this;
    }
    [[nodiscard]] int get() const { return m_number; }
    [[nodiscard]] explicit operator bool() const { return m_number >= 0; }
    void reset() {
        const int error = errno; // closing must not hide why the file is given up
        if (m_number >= 0) close(std::exchange(m_number, -1));
        errno = error;
    }

private:
    int m_number = -1;
};

} // namespace vornd
