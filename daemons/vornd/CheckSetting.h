#pragma once

#include "daemons/vornd/ResourceModel.h"

#include <chrono>
#include <optional>
#include <string>

namespace vornd {

/// How a resource's state is found out on this node: by a script that is run again and again.
struct CheckSetting {
    std::string resource; ///< its name
    std::string script;   ///< the whole path
    std::chrono::seconds interval{0};
    std::chrono::seconds limit{0};           ///< for one run
    std::chrono::seconds failureInterval{0}; ///< how long a failure counts; 0: without end
};

/// Attributes that only checks know.
inline constexpr char RES_ACTION_SCRIPT[] = "ACTION_SCRIPT";
inline constexpr char RES_SCRIPT_TIMEOUT[] = "SCRIPT_TIMEOUT";

inline constexpr std::chrono::seconds DEFAULT_SCRIPT_TIMEOUT{60};
/// A check that takes longer tells nothing of the present any more.
inline constexpr std::chrono::seconds MAX_SCRIPT_TIMEOUT{3600};

/// Nothing when the resource is not checked on the node: it has no script or no interval above 0,
/// or it has hosting members and they do not list the node. A relative script lies in
/// `scriptFolder`.
[[nodiscard]] std::optional<CheckSetting> checkOf(const Resource& resource, const std::string& node,
                                                  const std::string& scriptFolder);

} // namespace vornd
