#pragma once

#include <cstdint>
#include <optional>
#include <string_view>

namespace evmshow {

/// A point in time as a user writes it, in seconds since the epoch:
///   "1760000000"                   seconds since the epoch
///   "2026-01-31[ 23:59[:59]]"      local time; midnight without a time of day
///   "-90s", "-10m", "-2h", "-1d"   so long before `now`; the epoch when that would be before it
/// None when it is anything else, no day of the calendar, or before the epoch.
std::optional<std::uint64_t> parseTime(std::string_view text, std::uint64_t now);

} // namespace evmshow
