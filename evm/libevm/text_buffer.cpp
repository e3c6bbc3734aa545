#include "evm/libevm/text_buffer.h"

#include "platform/include/message_format.h"

#include <algorithm>

namespace evm {

namespace {

bool isPlain(char c) {
    return c >= ' ' && c <= '~';
}

} // namespace

void TextSink::putPrintable(std::string_view text) {
    const CharacterSet& set = CharacterSet::ofEnvironment();
    while (!text.empty()) {
        const auto plain =
            static_cast<std::size_t>(std::ranges::find_if_not(text, isPlain) - text.begin());
        if (plain != 0) put(text.substr(0, plain));
        text.remove_prefix(plain);
        if (text.empty()) return;
        const Character character = set.first(text);
        put(printableForm(character, text));
        text.remove_prefix(character.length);
    }
}

void TextSink::putSpaces(std::size_t count) {
    static constexpr std::string_view SPACES = "                                ";
    for (; count != 0; count -= std::min(count, SPACES.size()))
        put(SPACES.substr(0, std::min(count, SPACES.size())));
}

void TextBuffer::put(std::string_view text) {
    if (m_full) return;
    const std::size_t copied = copy_cut(m_buffer + m_at, m_size - m_at, text);
    m_at += copied;
    m_full = copied < text.size();
}

void TextBuffer::putPadded(std::string_view text, int width) {
    const std::size_t start = m_at;
    put(text);
    padFrom(start, width);
}

void TextBuffer::padFrom(std::size_t start, int width) {
    if (m_full || width <= 0) return;
    const std::size_t wanted = static_cast<std::size_t>(width);
    const std::size_t there = CharacterSet::ofEnvironment().count(text().substr(start));
    if (there < wanted) putSpaces(std::min(wanted - there, m_size));
}

} // namespace evm
