#pragma once

#include "evm/libevm/characters.h"

#include <cstddef>
#include <string_view>

namespace evm {

/// Where formatted text goes.
class TextSink {
public:
    virtual void put(std::string_view text) = 0;

    /// With every character that cannot be printed replaced by a space or "#".
    void putPrintable(std::string_view text);
    void putSpaces(std::size_t count);

protected:
    ~TextSink() = default;
};

/// A caller's buffer: never overrun, always terminated. What does not fit is cut, not inside a
/// character of UTF-8, and everything after it is left out.
class TextBuffer final : public TextSink {
public:
    /// `size` is at least 1; the buffer is emptied.
    TextBuffer(char* buffer, std::size_t size) : m_buffer(buffer), m_size(size) { *buffer = '\0'; }

    void put(std::string_view text) override;
    /// The text, then spaces until `width` characters were put.
    void putPadded(std::string_view text, int width);
    /// Spaces until `width` characters were put since `start`.
    void padFrom(std::size_t start, int width);

    [[nodiscard]] std::size_t position() const { return m_at; }
    [[nodiscard]] bool full() const { return m_full; }
    [[nodiscard]] std::string_view text() const { return {m_buffer, m_at}; }

private:
    char* m_buffer;
    std::size_t m_size;
    std::size_t m_at = 0;
    bool m_full = false;
};

/// Breaks a text into lines of at most `width` characters, each after the first behind `indent`
/// spaces: the caller has already printed what stands before the first. Lines are broken at the
/// last space that leaves room, or hard; line ends of the text stay. Without room (`width` not
/// above `indent`) lines are not broken.
void _evmWrap(std::string_view source, TextSink& target, std::size_t width, std::size_t indent);

} // namespace evm
