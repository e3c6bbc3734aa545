#include "tav/comm/CompactForm.h"

#include <algorithm>
#include <charconv>
#include <system_error>

namespace TAV {

void putCompact(std::string& text, char kind, const std::string& value) {
    text += kind;
    text += std::to_string(value.size());
    text += '|';
    text += value;
}

void putCompactContainer(std::string& text, unsigned int children, const std::string& name) {
    text += 'c';
    text += std::to_string(children);
    text += '|';
    text += std::to_string(name.size());
    text += '!';
    text += name;
}

CompactReader::CompactReader(std::string_view text, std::size_t position)
    : m_text(text), m_position(std::min(position, text.size())) {}

char CompactReader::peek() const {
    return remaining() == 0 ? '\0' : m_text[m_position];
}

bool CompactReader::expect(char wanted) {
    if (remaining() == 0 || m_text[m_position] != wanted) return false;
    ++m_position;
    return true;
}

bool CompactReader::number(std::uint32_t& value) {
    const char* const begin = m_text.data() + m_position;
    const auto [end, error] = std::from_chars(begin, m_text.data() + m_text.size(), value);
    if (error != std::errc()) return false;
    m_position += static_cast<std::size_t>(end - begin);
    return true;
}

bool CompactReader::bytes(std::size_t length, std::string_view& value) {
    if (length > remaining()) return false;
    value = m_text.substr(m_position, length);
    m_position += length;
    return true;
}

bool CompactReader::counted(char kind, std::string_view& value) {
    std::uint32_t length = 0;
    return expect(kind) && number(length) && expect('|') && bytes(length, value);
}

bool CompactReader::container(std::uint32_t& children, std::string_view& name) {
    std::uint32_t length = 0;
    return expect('c') && number(children) && expect('|') && number(length) && expect('!') &&
           bytes(length, name);
}

} // namespace TAV
