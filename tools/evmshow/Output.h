#pragma once

#include <cstddef>
#include <memory>
#include <span>
#include <stdexcept>
#include <string_view>

namespace evmshow {

/// Standard output takes nothing more: one line that says why.
class OutputError : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

/// Buffered text to a descriptor, which stays the caller's. What is left must be flushed before the
/// end. Writing throws OutputError, or Interrupted.
class Output {
public:
    explicit Output(int fd);

    /// Room for at least `least` characters, to be made use of by `took`.
    std::span<char> room(std::size_t least);
    void took(std::size_t count) { m_used += count; }
    void put(std::string_view text);
    void flush();

private:
    void write(std::string_view text) const;

    const int m_fd;
    std::size_t m_capacity;
    std::unique_ptr<char[]> m_buffer;
    std::size_t m_used = 0;
};

} // namespace evmshow
