#pragma once

#include "platform/local/registry_outcome.h"

#include <optional>
#include <string>
#include <string_view>

/// Names of keys and their names on disk. Pure functions.
///
/// A component's name on disk is the component with every byte outside printable ASCII, and "%",
/// "/", "=" and the space, as "%XX". So no component leaves its folder, none is "." or "..", and
/// names that begin with "=" are free for the store's own files. A dot cannot occur: it separates.

namespace platform::registry {

/// A key's place: its complete name, and its path below the folder of the root key ("" for the
/// root itself).
struct Place {
    std::string name;
    std::string path;

    [[nodiscard]] bool is_root() const { return path.empty(); }
    /// Path of the key above, and this key's own name in that folder. Not for the root.
    [[nodiscard]] std::string parent_path() const;
    [[nodiscard]] std::string entry() const;
    [[nodiscard]] Place parent() const;
};

std::string escape_component(std::string_view component);
/// The component behind a name on disk; nothing for a name that escape_component does not give
/// (the store's own files, foreign ones).
std::optional<std::string> unescape_component(std::string_view entry);

/// Checks a complete name.
Outcome place_of(std::string_view name, Place& place);
/// The complete name that `name` means below `parent` (see registry.h).
Outcome place_below(const Place& parent, std::string_view name, Place& place);

} // namespace platform::registry
