#include "platform/local/registry_lock.h"

#include <sys/file.h>

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <thread>

namespace platform::registry {
namespace {

using namespace std::chrono_literals;

/// Locks are held for microseconds, so waiting begins short.
constexpr auto FIRST_PAUSE = 20us;
constexpr auto LONGEST_PAUSE = 5ms;

/// Calls `attempt` until it is true, fails otherwise than by somebody else's lock, or time is up.
template <class Attempt>
Outcome wait_for(Attempt attempt) {
    const auto end =
        std::chrono::steady_clock::now() + std::chrono::milliseconds(PRZKS_LOCK_WAIT_MS);
    for (std::chrono::nanoseconds pause = FIRST_PAUSE; !attempt();
         pause = std::min<std::chrono::nanoseconds>(pause * 2, LONGEST_PAUSE)) {
        if (errno != EWOULDBLOCK && errno != EINTR)
            return Outcome::system("locking its folder", errno);
        if (std::chrono::steady_clock::now() > end)
            return Outcome::failure(PRZKS_BUSY, "another process keeps its folder locked");
        std::this_thread::sleep_for(pause);
    }
    return {};
}

} // namespace

bool FolderLock::try_take(int folder, Kind kind) {
    if (flock(folder, (kind == Kind::shared ? LOCK_SH : LOCK_EX) | LOCK_NB) != 0) return false;
    m_folder = folder;
    return true;
}

Outcome FolderLock::take(FolderLock& lock, int folder, Kind kind) {
    lock.release();
    return wait_for([&] { return lock.try_take(folder, kind); });
}

Outcome FolderLock::take_two(FolderLock& first, int first_folder, Kind first_kind,
                             FolderLock& second, int second_folder, Kind second_kind) {
    first.release();
    second.release();
    return wait_for([&] {
        if (!first.try_take(first_folder, first_kind)) return false;
        if (second.try_take(second_folder, second_kind)) return true;
        const int why = errno;
        first.release();
        errno = why;
        return false;
    });
}

void FolderLock::release() {
    // Given back here and not by closing: a child of a fork may hold the same open folder.
    if (m_folder >= 0) flock(m_folder, LOCK_UN);
    m_folder = -1;
}

} // namespace platform::registry
