#pragma once

#include "daemons/vornd/Profile.h"
#include "daemons/vornd/ResourceModel.h"

#include <cstddef>
#include <string>

namespace vornd {

/// Reads a profile of the caller's choice. True with `resource` filled, or false with `fault`
/// filled and `resource` unspecified: the file is no regular one (a link to one is followed), is
/// larger than MAX_PROFILE_SIZE, cannot be read, or is no profile. The path is not part of the
/// reason.
[[nodiscard]] bool readProfileFile(const std::string& path, Resource& resource,
                                   ProfileFault& fault);

/// Largest profile in bytes: dozens of attributes fit; a larger file is none.
inline constexpr std::size_t MAX_PROFILE_SIZE = std::size_t{256} * 1024;

} // namespace vornd
