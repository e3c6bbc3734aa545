#include "platform/local/error_text.h"

#include <algorithm>
#include <system_error>

namespace {

constexpr std::string_view ELLIPSIS = "...";

bool is_control(char c) {
    return static_cast<unsigned char>(c) < 0x20 || c == 0x7f;
}

/// Bytes after the first of a UTF-8 sequence.
bool is_continuation(char c) {
    return (static_cast<unsigned char>(c) & 0xC0) == 0x80;
}

} // namespace

std::string quotable(std::string_view text, std::size_t limit) {
    std::string result(text.substr(0, limit));
    if (text.size() > limit) {
        std::size_t kept = limit - std::min(limit, ELLIPSIS.size());
        while (kept != 0 && is_continuation(text[kept])) --kept;
        result.resize(kept);
        result += ELLIPSIS;
    }
    std::replace_if(result.begin(), result.end(), is_control, '?');
    return result;
}

std::string shorten_from_left(std::string_view path, std::size_t limit) {
    if (path.size() <= limit) return std::string(path);
    if (limit <= ELLIPSIS.size()) return std::string(ELLIPSIS.substr(0, limit));
    std::string_view end = path.substr(path.size() - (limit - ELLIPSIS.size()));
    while (!end.empty() && is_continuation(end.front())) end.remove_prefix(1);
    return std::string(ELLIPSIS).append(end);
}

std::string system_error_text(int error) {
    return std::generic_category().message(error);
}
