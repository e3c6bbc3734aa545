#pragma once

#include "daemons/vornd/ResourceRecord.h"

#include <optional>
#include <string>
#include <vector>

namespace vornreg {

/// A resource to be registered.
struct NewResource {
    std::string file; ///< as the operator named it
    std::string name;
    vornd::ResourceRecord record;
    std::optional<std::string> permissions;
};

/// Reads and checks the profiles; "-" is standard input. Tells every file that is no sound profile
/// and then throws Failure. Needs no registry.
[[nodiscard]] std::vector<NewResource> readProfiles(const std::vector<std::string>& files);

} // namespace vornreg
