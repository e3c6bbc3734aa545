#include "platform/include/clsc.h"

#include <algorithm>
#include <charconv>

namespace {

constexpr std::string_view URL_PREFIX = "clsc://";
/// Domain names are no longer; a longer key does not fit a socket's path anyway.
constexpr std::size_t VALUE_MAX = 255;

/// Takes `prefix` off the front of `text`; false when it does not stand there.
bool take(std::string_view& text, std::string_view prefix) {
    if (text.substr(0, prefix.size()) != prefix) return false;
    text.remove_prefix(prefix.size());
    return true;
}

bool is_value_character(char c) {
    return static_cast<unsigned char>(c) > 0x20 && c != 0x7f && c != '(' && c != ')' && c != '=';
}

bool is_value(std::string_view text) {
    return !text.empty() && text.size() <= VALUE_MAX &&
           std::all_of(text.begin(), text.end(), is_value_character);
}

/// A key becomes the name of a file in one folder and must not lead out of it.
bool is_key(std::string_view text) {
    return text.find('/') == std::string_view::npos && text != "." && text != "..";
}

bool parse_port(std::string_view text, std::uint16_t& port) {
    const char* const end = text.data() + text.size();
    const auto [stop, error] = std::from_chars(text.data(), end, port);
    return error == std::errc() && stop == end;
}

/// The values of a connect string's items; empty where an item is missing.
struct Items {
    std::string_view protocol, key, host, port;

    std::string_view* find(std::string_view name) {
        if (name == "PROTOCOL") return &protocol;
        if (name == "KEY") return &key;
        if (name == "HOST") return &host;
        if (name == "PORT") return &port;
        return nullptr;
    }
};

/// Takes one "(NAME=VALUE)" off the front.
bool take_item(std::string_view& text, Items& items) {
    if (!take(text, "(")) return false;
    const auto equals = text.find('=');
    const auto end = text.find(')');
    if (end == std::string_view::npos || equals > end) return false;
    std::string_view* const place = items.find(text.substr(0, equals));
    const std::string_view value = text.substr(equals + 1, end - equals - 1);
    if (place == nullptr || !place->empty() || !is_value(value)) return false;
    *place = value;
    text.remove_prefix(end + 1);
    return true;
}

bool decode_ipc(const Items& items, clsc_address& address) {
    if (items.key.empty() || !is_key(items.key) || !items.host.empty() || !items.port.empty())
        return false;
    address.proto = clsc_address::protocol::ipc;
    address.key = items.key;
    return true;
}

bool decode_tcp(const Items& items, clsc_address& address) {
    if (items.host.empty() || !items.key.empty()) return false;
    address.proto = clsc_address::protocol::tcp;
    address.host = items.host;
    return items.port.empty() || parse_port(items.port, address.port);
}

} // namespace

bool clsc_parse_address(std::string_view text, clsc_address& address) {
    address = clsc_address();
    if (text.size() >= CLSC_ADDRESS_SIZE) return false;
    take(text, URL_PREFIX);
    Items items;
    if (!take(text, "(ADDRESS=")) return false;
    while (text != ")")
        if (!take_item(text, items)) return false;
    if (items.protocol == "ipc") return decode_ipc(items, address);
    if (items.protocol == "tcp") return decode_tcp(items, address);
    return false;
}
