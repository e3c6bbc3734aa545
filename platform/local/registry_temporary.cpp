#include "platform/local/registry_temporary.h"

#include "platform/local/registry_files.h"
#include "platform/local/registry_store.h"

#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <chrono>
#include <vector>

namespace platform::registry {
namespace {

constexpr mode_t FILE_MODE = 0600; ///< until the owner and mode are given
constexpr mode_t FOLDER_MODE = 0700;
/// Removing a tree takes a pass a level; somebody who keeps adding must not keep it going.
constexpr int PASSES_MAX = 100000;

/// Removes a file or an empty folder. True when it is gone, whoever removed it.
bool remove_one(int folder, const std::string& entry) {
    if (unlinkat(folder, entry.c_str(), 0) == 0 || errno == ENOENT) return true;
    if (errno != EISDIR && errno != EPERM) return false;
    return unlinkat(folder, entry.c_str(), AT_REMOVEDIR) == 0 || errno == ENOENT;
}

/// Opens a folder that is to be emptied; its owner may have taken the rights from himself.
Descriptor open_to_empty(int folder, const std::string& entry) {
    Descriptor fd = open_beneath(folder, entry, OPEN_FOLDER);
    if (!fd && errno == EACCES) {
        const Descriptor place = open_beneath(folder, entry, OPEN_PLACE | O_DIRECTORY);
        if (place) chmod(("/proc/self/fd/" + std::to_string(place.get())).c_str(), FOLDER_MODE);
        fd = open_beneath(folder, entry, OPEN_FOLDER);
    } else if (fd && faccessat(fd.get(), ".", W_OK | X_OK, AT_EACCESS) != 0) {
        fchmod(fd.get(), FOLDER_MODE);
    }
    return fd;
}

std::vector<std::string> entries_of(int folder) {
    std::vector<std::string> entries;
    list_folder(folder, [&](std::string_view name, unsigned char) { entries.emplace_back(name); });
    return entries;
}

/// Empties the folder `entry` of `top` by moving the folders inside it up into `top`, so that the
/// depth of a tree costs neither stack nor descriptors. True when something was removed or moved.
bool flatten(int top, const std::string& entry) {
    const Descriptor folder = open_to_empty(top, entry);
    if (!folder) return false;
    bool progress = false;
    for (const std::string& inner : entries_of(folder.get())) {
        if (remove_one(folder.get(), inner)) {
            progress = true;
            continue;
        }
        // A folder changes its place only for those who may write to it.
        open_to_empty(folder.get(), inner);
        if (rename_new(folder.get(), inner, top, fresh_name(DELETED)) == 0) progress = true;
    }
    return remove_one(top, entry) || progress;
}

} // namespace

std::string fresh_name(std::string_view prefix) {
    static std::atomic<unsigned> count{0};
    const auto now = std::chrono::system_clock::now().time_since_epoch();
    const auto ns = std::chrono::duration_cast<std::chrono::nanoseconds>(now).count();
    std::string name(prefix);
    name += std::to_string(getpid());
    name += '-';
    name += std::to_string(count.fetch_add(1, std::memory_order_relaxed));
    name += '-';
    return name += std::to_string(ns);
}

void remove_all(int folder, const std::string& entry) {
    if (remove_one(folder, entry)) return;
    const Descriptor top = open_to_empty(folder, entry);
    if (!top) return;
    bool progress = true;
    for (int pass = 0; progress && pass < PASSES_MAX; ++pass) {
        progress = false;
        for (const std::string& inner : entries_of(top.get())) {
            const bool moved_on = remove_one(top.get(), inner) || flatten(top.get(), inner);
            progress = progress || moved_on;
        }
    }
    remove_one(folder, entry);
}

void remove_abandoned(int folder, const std::string& entry) {
    const Descriptor fd = open_beneath(folder, entry, OPEN_VALUE);
    if (fd && flock(fd.get(), LOCK_EX | LOCK_NB) == 0) remove_all(folder, entry);
}

Temporary::~Temporary() {
    unlock();
    if (!m_name.empty()) remove_all(m_folder, m_name);
}

Outcome Temporary::make_file(std::string_view bytes, bool durable) {
    Outcome made = repeat([&]() -> Outcome {
        std::string name = fresh_name(UNDER_CONSTRUCTION);
        m_fd = Descriptor(openat(m_folder, name.c_str(),
                                 O_WRONLY | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC, FILE_MODE));
        if (!m_fd) return Outcome::system("making a file", errno);
        m_name = std::move(name);
        return lock();
    });
    if (!made) return made;
    if (!write_file(m_fd.get(), bytes, durable)) return Outcome::system("writing its file", errno);
    return {};
}

Outcome Temporary::make_folder() {
    return repeat([&]() -> Outcome {
        std::string name = fresh_name(UNDER_CONSTRUCTION);
        if (mkdirat(m_folder, name.c_str(), FOLDER_MODE) != 0)
            return Outcome::system("making a folder", errno);
        m_name = std::move(name);
        m_fd = open_beneath(m_folder, m_name, OPEN_FOLDER);
        if (m_fd) return lock();
        return errno == ENOENT ? Outcome::again() : Outcome::system("making a folder", errno);
    });
}

/// Outcome::again when it was taken for abandoned before the lock was there.
Outcome Temporary::lock() {
    struct stat status {};
    while (flock(m_fd.get(), LOCK_EX) != 0)
        if (errno != EINTR) return Outcome::system("locking what is made", errno);
    if (fstat(m_fd.get(), &status) != 0) return Outcome::system("locking what is made", errno);
    return status.st_nlink == 0 ? Outcome::again() : Outcome();
}

void Temporary::unlock() {
    // Given back here and not by closing: a child of a fork may hold the same open file.
    if (m_fd) flock(m_fd.get(), LOCK_UN);
}

void Temporary::published() {
    m_name.clear();
    unlock();
}

} // namespace platform::registry
