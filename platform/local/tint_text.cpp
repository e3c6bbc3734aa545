#include "platform/include/tint_text.h"

#include <array>
#include <atomic>
#include <charconv>
#include <string_view>

namespace {

constexpr std::size_t DIGITS = 16;
constexpr std::size_t TEXT_LENGTH = DIGITS + 2; // the braces

constinit std::atomic<sltskey> tintKey{nullptr};

} // namespace

int clsvorn_utl_initialize_tinting(sltskey key) {
    tintKey.store(key);
    return 0;
}

int clsvorn_utl_stringify_tint(std::uint64_t tint, char* buffer, std::size_t size) {
    if (buffer == nullptr || size == 0) return 1;
    *buffer = '\0';
    if (size <= TEXT_LENGTH) return 1;
    static constexpr std::string_view digits = "0123456789abcdef";
    char* out = buffer;
    *out++ = '{';
    for (std::size_t shift = DIGITS * 4; shift != 0; shift -= 4)
        *out++ = digits[(tint >> (shift - 4)) & 0xF];
    *out++ = '}';
    *out = '\0';
    return 0;
}

int clsvorn_utl_destringify_tint(const char* text, std::uint64_t* tint) {
    if (text == nullptr || tint == nullptr) return 1;
    const std::string_view view = text;
    if (view.size() != TEXT_LENGTH || view.front() != '{' || view.back() != '}') return 1;
    const char* const last = view.data() + 1 + DIGITS;
    std::uint64_t value = 0;
    const auto [end, error] = std::from_chars(view.data() + 1, last, value, 16);
    if (error != std::errc() || end != last) return 1;
    *tint = value;
    return 0;
}
