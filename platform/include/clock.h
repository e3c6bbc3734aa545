#pragma once

#include <cstdint>

/// Milliseconds of a clock that never jumps; its start is arbitrary.
std::uint64_t sltrgatime64();

/// Sleeps up to `amount` microseconds and returns the microseconds slept; fewer when a signal came.
std::uint64_t sltrusleep(std::uint64_t amount);

/// Local time of day, to the millisecond.
struct slgtd_time {
    int year, month, day, hour, minute, second, millisecond;
};
void slgtd(slgtd_time* now);
