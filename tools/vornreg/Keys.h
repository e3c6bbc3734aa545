#pragma once

#include <map>
#include <string>

namespace vornreg {

/// The texts of the direct sub-keys of a key by name; needs an open Registry, throws Failure.
[[nodiscard]] std::map<std::string, std::string> subKeys(const std::string& key);

} // namespace vornreg
