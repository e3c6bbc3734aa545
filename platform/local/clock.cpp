#include "platform/include/clock.h"

#include <cerrno>
#include <ctime>

namespace {

constexpr std::uint64_t MICROSECONDS = 1'000'000;

} // namespace

std::uint64_t sltrgatime64() {
    timespec now{};
    clock_gettime(CLOCK_MONOTONIC, &now);
    return static_cast<std::uint64_t>(now.tv_sec) * 1000 +
           static_cast<std::uint64_t>(now.tv_nsec) / 1'000'000;
}

std::uint64_t sltrusleep(std::uint64_t amount) {
    timespec wanted{};
    wanted.tv_sec = static_cast<time_t>(amount / MICROSECONDS);
    wanted.tv_nsec = static_cast<long>(amount % MICROSECONDS * 1000);
    timespec left{};
    const int failed = clock_nanosleep(CLOCK_MONOTONIC, 0, &wanted, &left);
    if (failed != EINTR) return amount;
    // What is left is rounded down, so that a sleep that began at all counts as progress.
    return amount - (static_cast<std::uint64_t>(left.tv_sec) * MICROSECONDS +
                     static_cast<std::uint64_t>(left.tv_nsec) / 1000);
}

void slgtd(slgtd_time* now) {
    timespec clock{};
    clock_gettime(CLOCK_REALTIME, &clock);
    tm local{};
    localtime_r(&clock.tv_sec, &local);
    *now = {local.tm_year + 1900,
            local.tm_mon + 1,
            local.tm_mday,
            local.tm_hour,
            local.tm_min,
            local.tm_sec,
            static_cast<int>(clock.tv_nsec / 1'000'000)};
}
