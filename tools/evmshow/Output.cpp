#include "tools/evmshow/Output.h"

#include "tools/evmshow/Interruption.h"

#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <string>

namespace evmshow {

namespace {

constexpr std::size_t CAPACITY = 128 * 1024;

} // namespace

Output::Output(int fd)
    : m_fd(fd), m_capacity(CAPACITY), m_buffer(std::make_unique_for_overwrite<char[]>(CAPACITY)) {}

std::span<char> Output::room(std::size_t least) {
    if (m_capacity - m_used < least) flush();
    if (m_capacity < least) {
        m_buffer = std::make_unique_for_overwrite<char[]>(least);
        m_capacity = least;
    }
    return {m_buffer.get() + m_used, m_capacity - m_used};
}

void Output::put(std::string_view text) {
    if (text.empty()) return;
    if (text.size() >= m_capacity) {
        flush();
        write(text);
        return;
    }
    std::memcpy(room(text.size()).data(), text.data(), text.size());
    took(text.size());
}

void Output::flush() {
    const std::string_view text(m_buffer.get(), m_used);
    m_used = 0; // whatever happens: what failed once is not tried again
    write(text);
}

void Output::write(std::string_view text) const {
    while (!text.empty()) {
        const ssize_t count = ::write(m_fd, text.data(), text.size());
        if (count >= 0)
            text.remove_prefix(static_cast<std::size_t>(count));
        else if (errno == EINTR && interruptionRequested())
            throw Interrupted();
        else if (errno != EINTR)
            throw OutputError(std::string("standard output: ") + std::strerror(errno));
    }
}

} // namespace evmshow
