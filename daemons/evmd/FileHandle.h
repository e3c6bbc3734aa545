#pragma once

#include <unistd.h>

#include <cerrno>
#include <utility>

namespace evmd {

/// Owns one open file and closes it.
class FileHandle {
public:
    FileHandle() = default;
    explicit FileHandle(int number) : m_number(number) {}
    FileHandle(FileHandle&& other) noexcept : m_number(std::exchange(other.m_number, -1)) {}
    FileHandle& operator=(FileHandle&& other) noexcept {
        std::swap(m_number, other.m_number);
        return *this;
    }
    ~FileHandle() {
        const int error = errno; // closing must not hide why the file is given up
        if (m_number >= 0) close(m_number);
        errno = error;
    }

    [[nodiscard]] int get() const { return m_number; }
    [[nodiscard]] explicit operator bool() const { return m_number >= 0; }

private:
    int m_number = -1;
};

} // namespace evmd
