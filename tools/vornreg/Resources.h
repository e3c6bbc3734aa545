#pragma once

#include "daemons/vornd/ResourceRecord.h"

#include <optional>
#include <string>
#include <vector>

/// Registered resources as the registry holds them. Every operation needs an open Registry and may
/// throw Failure.
namespace vornreg {

/// Whether something stands under the name, and what.
enum class Standing {
    absent,
    registered,
    leaving, ///< its unregistering was begun and not ended: nobody sees it any more
};
[[nodiscard]] Standing standingOf(const std::string& name);
/// Throws unless the resource is registered.
void requireRegistered(const std::string& name);

/// Reasons why a resource cannot be kept under the name; empty when there is none.
[[nodiscard]] std::string faultOfName(const std::string& name);

/// The key of a resource in an area.
[[nodiscard]] std::string keyOf(const std::string& area, const std::string& name);
/// Sets the text of a key, which is made with it when it is missing: that costs half of making it
/// first.
void writeKey(const std::string& what, const std::string& key, const std::string& text);

/// The names of all registered resources, in byte order.
[[nodiscard]] std::vector<std::string> registeredNames();

[[nodiscard]] vornd::ResourceRecord recordOf(const std::string& name);
/// The access-control list; nothing when there is none.
[[nodiscard]] std::optional<std::string> permissionsOf(const std::string& name);
/// Sets the list, or removes it.
void setPermissions(const std::string& name, const std::optional<std::string>& permissions);

/// The resource as a profile that `register` takes. Throws when no profile can say it, as a value
/// with a line end.
[[nodiscard]] std::string profileText(const std::string& name, const vornd::ResourceRecord& record,
                                      const std::optional<std::string>& permissions);

} // namespace vornreg
