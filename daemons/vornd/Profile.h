#pragma once

#include "daemons/vornd/ResourceModel.h"

#include <cstddef>
#include <string>
#include <string_view>

namespace vornd {

/// Why a profile is refused. `line` is 0 when no single line is to blame.
struct ProfileFault {
    std::size_t line = 0;
    std::string reason;

    /// "line N: reason", or the reason alone.
    [[nodiscard]] std::string text() const;
};

/// Decodes the text of a profile. A pure function: true with `resource` filled, or false with
/// `fault` filled and `resource` unspecified.
///
/// Lines are NAME=value, where blanks around the name are trimmed and the value is all that follows
/// the first "=". Lines end with a line feed, with or without a carriage return; blank lines and
/// lines that begin with "#" are passed over. STATE, TARGET and CURRENT_FAILURE are kept for each
/// node: "STATE@alpha=ONLINE", or without a node "STATE=ONLINE". NAME and TYPE are required. Names
/// of attributes are printable words without "@", "=" and ".".
[[nodiscard]] bool parseProfile(std::string_view text, Resource& resource, ProfileFault& fault);

/// Longest resource name in bytes: it is a key of replies, a word of a command line and a column of
/// a table.
inline constexpr std::size_t MAX_RESOURCE_NAME = 256;
/// Longest name of an attribute, its node included.
inline constexpr std::size_t MAX_ATTRIBUTE_NAME = 256;

} // namespace vornd
