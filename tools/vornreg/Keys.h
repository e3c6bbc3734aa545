#pragma once

#include <string>
#include <vector>

namespace vornreg {

struct SubKey {
    std::string name;
    std::string value; ///< its text; empty without one
    int status = 0;    ///< of the registry client: not 0 when the value cannot be read
};

/// The direct sub-keys of a key in byte order; needs an open Registry, throws Failure.
[[nodiscard]] std::vector<SubKey> subKeys(const std::string& key);

} // namespace vornreg
