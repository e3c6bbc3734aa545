#pragma once

#include <cstddef>
#include <memory>
#include <string>

namespace evmpost {

/// Reads a descriptor, which stays the caller's, line by line.
class LineReader {
public:
    /// Longer ones are no lines but something else that was fed in by mistake.
    static constexpr std::size_t LONGEST_LINE = 1024 * 1024;

    explicit LineReader(int fd);

    /// The next line without its line end; the last may lack one. False at the end. A line that is
    /// longer than LONGEST_LINE is cut to one character more than that. Throws std::system_error.
    bool next(std::string& line);

private:
    bool fill();

    const int m_fd;
    std::unique_ptr<char[]> m_buffer;
    std::size_t m_begin = 0;
    std::size_t m_end = 0;
};

} // namespace evmpost
