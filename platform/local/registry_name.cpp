#include "platform/local/registry_name.h"

namespace platform::registry {
namespace {

constexpr std::string_view DIGITS = "0123456789ABCDEF";

bool stands_for_itself(char c) {
    return c > ' ' && c < 0x7f && c != '%' && c != '/' && c != '=' && c != '.';
}

/// Value of the two digits at `at`, or -1.
int byte_at(std::string_view text, std::size_t at) {
    if (at + 2 > text.size()) return -1;
    const std::size_t high = DIGITS.find(text[at]);
    const std::size_t low = DIGITS.find(text[at + 1]);
    if (high == std::string_view::npos || low == std::string_view::npos) return -1;
    return static_cast<int>(high * 16 + low);
}

Outcome append_component(std::string_view component, std::string& path) {
    if (component.empty()) return Outcome::failure(PRZKS_BADNAME, "a part of the name is empty");
    if (component.size() > PRZKS_MAX_COMPONENT)
        return Outcome::failure(PRZKS_BADNAME, "a part of the name is too long");
    const std::string entry = escape_component(component);
    if (entry.size() > PRZKS_MAX_COMPONENT)
        return Outcome::failure(PRZKS_BADNAME, "a part of the name is too long on disk");
    if (!path.empty()) path += '/';
    path += entry;
    return {};
}

} // namespace

std::string Place::parent_path() const {
    const std::size_t slash = path.rfind('/');
    return slash == std::string::npos ? std::string() : path.substr(0, slash);
}

std::string Place::entry() const {
    return path.substr(path.rfind('/') + 1); // npos + 1 is the beginning
}

Place Place::parent() const {
    const std::size_t dot = name.rfind('.');
    return {dot == std::string::npos ? std::string() : name.substr(0, dot), parent_path()};
}

std::string escape_component(std::string_view component) {
    std::string entry;
    entry.reserve(component.size());
    for (const char c : component) {
        if (stands_for_itself(c)) {
            entry += c;
            continue;
        }
        const auto byte = static_cast<unsigned char>(c);
        entry += {'%', DIGITS[byte / 16u], DIGITS[byte % 16u]};
    }
    return entry;
}

std::optional<std::string> unescape_component(std::string_view entry) {
    std::string component;
    component.reserve(entry.size());
    for (std::size_t i = 0; i < entry.size(); ++i) {
        if (stands_for_itself(entry[i])) {
            component += entry[i];
            continue;
        }
        const int byte = entry[i] == '%' ? byte_at(entry, i + 1) : -1;
        const char c = static_cast<char>(byte);
        if (byte <= 0 || c == '.' || stands_for_itself(c)) return std::nullopt;
        component += c;
        i += 2;
    }
    if (component.empty()) return std::nullopt;
    return component;
}

Outcome place_of(std::string_view name, Place& place) {
    if (name.size() > PRZKS_MAX_NAME)
        return Outcome::failure(PRZKS_BADNAME, "the name is too long");
    std::string path;
    for (std::size_t begin = 0; !name.empty();) {
        const std::size_t end = name.find('.', begin);
        if (Outcome outcome = append_component(name.substr(begin, end - begin), path); !outcome)
            return outcome;
        if (end == std::string_view::npos) break;
        begin = end + 1;
    }
    place.name = name;
    place.path = std::move(path);
    return {};
}

Outcome place_below(const Place& parent, std::string_view name, Place& place) {
    if (name.empty()) return Outcome::failure(PRZKS_BADNAME, "the name is empty");
    std::string prefix = parent.name + ".";
    if (parent.is_root() || name.starts_with(prefix)) return place_of(name, place);
    return place_of(prefix.append(name), place);
}

} // namespace platform::registry
