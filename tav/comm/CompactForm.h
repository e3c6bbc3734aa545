#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

namespace TAV {

/// The pieces of a message's compact string form: "t<length>|<text>", "k<length>|<key>" and
/// "c<children>|<length>!<name>", lengths counted in bytes.
void putCompact(std::string& text, char kind, const std::string& value);
void putCompactContainer(std::string& text, unsigned int children, const std::string& name);

/// Reads pieces of a compact string from a position on; all answer false, and leave the position
/// unspecified, when the string does not hold what is asked for. The string outlives the reader
/// and the views that it hands out.
class CompactReader {
public:
    CompactReader(std::string_view text, std::size_t position);

    [[nodiscard]] bool counted(char kind, std::string_view& value);
    [[nodiscard]] bool container(std::uint32_t& children, std::string_view& name);
    /// The next byte; a zero byte at the end of the string.
    [[nodiscard]] char peek() const;
    [[nodiscard]] std::size_t position() const { return m_position; }
    [[nodiscard]] std::size_t remaining() const { return m_text.size() - m_position; }

private:
    bool expect(char wanted);
    bool number(std::uint32_t& value);
    bool bytes(std::size_t length, std::string_view& value);

    std::string_view m_text;
    std::size_t m_position;
};

} // namespace TAV
