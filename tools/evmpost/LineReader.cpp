#include "tools/evmpost/LineReader.h"

#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <system_error>

namespace evmpost {

namespace {

constexpr std::size_t CAPACITY = 64 * 1024;

} // namespace

LineReader::LineReader(int fd) : m_fd(fd), m_buffer(std::make_unique<char[]>(CAPACITY)) {}

bool LineReader::next(std::string& line) {
    line.clear();
    bool some = false;
    while (m_begin != m_end || fill()) {
        some = true;
        const char* const begin = m_buffer.get() + m_begin;
        const char* const end = m_buffer.get() + m_end;
        const char* const stop = std::find(begin, end, '\n');
        const std::size_t room = LONGEST_LINE + 1 - line.size();
        line.append(begin, std::min(static_cast<std::size_t>(stop - begin), room));
        m_begin = stop == end ? m_end : static_cast<std::size_t>(stop + 1 - m_buffer.get());
        if (stop != end) return true;
    }
    return some;
}

bool LineReader::fill() {
    ssize_t count = 0;
    do {
        count = read(m_fd, m_buffer.get(), CAPACITY);
    } while (count < 0 && errno == EINTR);
    if (count < 0) throw std::system_error(errno, std::generic_category(), "standard input");
    m_begin = 0;
    m_end = static_cast<std::size_t>(count);
    return count != 0;
}

} // namespace evmpost
