#include "platform/include/environment.h"

#include <algorithm>
#include <climits>
#include <cstdlib>
#include <cstring>

namespace {

/// Blanks and digits as the C locale has them, whatever the process's locale.
bool is_blank(char c) {
    return c == ' ' || (c >= '\t' && c <= '\r');
}

bool is_digit(char c) {
    return c >= '0' && c <= '9';
}

} // namespace

int slzgetevar(const char* name, char* buffer, std::size_t maxchars, unsigned /*option*/) {
    if (buffer == nullptr) return 0;
    buffer[0] = '\0';
    const char* const value = name == nullptr ? nullptr : std::getenv(name);
    if (value == nullptr) return 0;
    const std::size_t length = strnlen(value, std::min<std::size_t>(maxchars, INT_MAX));
    std::memcpy(buffer, value, length);
    buffer[length] = '\0';
    return static_cast<int>(length);
}

std::int32_t parse_int32(const char* text, std::size_t length) {
    if (text == nullptr) return 0;
    const char* const end = text + length;
    while (text != end && is_blank(*text)) ++text;
    const bool negative = text != end && *text == '-';
    if (text != end && (*text == '-' || *text == '+')) ++text;

    const std::int64_t limit = negative ? -std::int64_t{INT32_MIN} : std::int64_t{INT32_MAX};
    std::int64_t value = 0;
    for (; text != end && is_digit(*text); ++text)
        value = std::min(limit, value * 10 + (*text - '0'));
    return static_cast<std::int32_t>(negative ? -value : value);
}

std::int32_t lcvb24(const char* text, std::size_t length) {
    return parse_int32(text, length);
}
