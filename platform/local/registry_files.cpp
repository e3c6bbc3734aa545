#include "platform/local/registry_files.h"

#include <dirent.h>
#include <linux/openat2.h>
#include <sys/resource.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <climits>
#include <cstdio>
#include <cstring>

namespace platform::registry {
namespace {

/// Longest path for one call: well below PATH_MAX, above any component.
constexpr std::size_t STEP_MAX = 3500;
/// A directory that does not fit is read again into a larger buffer, up to some million entries.
constexpr std::size_t LIST_FIRST = std::size_t{32} * 1024;
constexpr std::size_t LIST_MAX = std::size_t{512} * 1024 * 1024;
constexpr std::size_t LIST_GROWTH = 8;
constexpr std::size_t LARGEST_ENTRY = sizeof(dirent64) + 8;

std::atomic<bool> stepwise_only{false};

template <class Call>
auto uninterrupted(Call call) {
    auto result = call();
    while (result < 0 && errno == EINTR) result = call();
    return result;
}

Descriptor open_in_one_call(int folder, const std::string& path, int flags) {
    open_how how{};
    how.flags = static_cast<unsigned>(flags | O_CLOEXEC | O_NOFOLLOW);
    how.resolve = RESOLVE_BENEATH | RESOLVE_NO_SYMLINKS | RESOLVE_NO_MAGICLINKS;
    return Descriptor(static_cast<int>(uninterrupted(
        [&] { return syscall(SYS_openat2, folder, path.c_str(), &how, sizeof how); })));
}

Descriptor open_short(int folder, std::string_view path, int flags) {
    const std::string text(path.empty() ? "." : path);
    if (!stepwise_only.load(std::memory_order_relaxed)) {
        Descriptor fd = open_in_one_call(folder, text, flags);
        // EPERM is how a sandbox says that it does not know the call; paths without ".." never
        // meet it otherwise.
        if (fd || (errno != ENOSYS && errno != EPERM)) return fd;
        stepwise_only.store(true, std::memory_order_relaxed);
    }
    return open_stepwise(folder, path, flags);
}

/// Cuts the first part off `path`, at a "/" and at most STEP_MAX long.
std::string_view take_step(std::string_view& path) {
    const std::size_t slash = path.rfind('/', STEP_MAX);
    const std::string_view step = path.substr(0, slash);
    path.remove_prefix(slash + 1);
    return step;
}

int rename_with(int from_folder, const std::string& from, int to_folder, const std::string& to,
                unsigned flags) {
    return uninterrupted(
        [&] { return renameat2(from_folder, from.c_str(), to_folder, to.c_str(), flags); });
}

/// The entries of a buffer that getdents64 filled.
void visit_entries(const char* at, const char* end,
                   const std::function<void(std::string_view, unsigned char)>& visit) {
    while (at < end) {
        unsigned short length = 0;
        unsigned char type = 0;
        std::memcpy(&length, at + offsetof(dirent64, d_reclen), sizeof length);
        std::memcpy(&type, at + offsetof(dirent64, d_type), sizeof type);
        const std::string_view name(at + offsetof(dirent64, d_name));
        if (name != "." && name != "..") visit(name, type);
        at += length;
    }
}

/// Fills `buffer` from the folder's beginning. Bytes used, -1 with errno, or `size` when the
/// buffer is too small.
ssize_t fill(int folder, char* buffer, std::size_t size) {
    std::size_t used = 0;
    if (lseek(folder, 0, SEEK_SET) < 0) return -1;
    while (size - used >= LARGEST_ENTRY) {
        const ssize_t got = uninterrupted([&] {
            return getdents64(folder, buffer + used, std::min<std::size_t>(size - used, INT_MAX));
        });
        if (got < 0) return -1;
        if (got == 0) return static_cast<ssize_t>(used);
        used += static_cast<std::size_t>(got);
    }
    return static_cast<ssize_t>(size);
}

bool fits_file_size_limit(std::size_t size) {
    rlimit limit{};
    return getrlimit(RLIMIT_FSIZE, &limit) != 0 || limit.rlim_cur == RLIM_INFINITY ||
           size <= limit.rlim_cur;
}

} // namespace

Descriptor open_stepwise(int folder, std::string_view path, int flags) {
    Descriptor above;
    while (true) {
        const std::size_t slash = path.find('/');
        const bool last = slash == std::string_view::npos;
        const std::string component(path.empty() ? "." : path.substr(0, slash));
        const int step = last ? flags : O_PATH | O_DIRECTORY;
        Descriptor next(uninterrupted(
            [&] { return openat(folder, component.c_str(), step | O_CLOEXEC | O_NOFOLLOW); }));
        if (last || !next) return next;
        above = std::move(next);
        folder = above.get();
        path.remove_prefix(slash + 1);
    }
}

Descriptor open_beneath(int folder, std::string_view path, int flags) {
    Descriptor above;
    while (path.size() > STEP_MAX) {
        Descriptor next = open_short(folder, take_step(path), O_PATH | O_DIRECTORY);
        if (!next) return next;
        above = std::move(next);
        folder = above.get();
    }
    return open_short(folder, path, flags);
}

int rename_new(int from_folder, const std::string& from, int to_folder, const std::string& to) {
    return rename_with(from_folder, from, to_folder, to, RENAME_NOREPLACE);
}

int rename_exchange(int from_folder, const std::string& from, int to_folder,
                    const std::string& to) {
    return rename_with(from_folder, from, to_folder, to, RENAME_EXCHANGE);
}

bool status_of_entry(int folder, const std::string& entry, struct stat& status) {
    return fstatat(folder, entry.c_str(), &status, AT_SYMLINK_NOFOLLOW) == 0;
}

bool same_inode(const struct stat& one, const struct stat& other) {
    return one.st_dev == other.st_dev && one.st_ino == other.st_ino;
}

bool list_folder(int folder, const std::function<void(std::string_view, unsigned char)>& visit) {
    for (std::size_t size = LIST_FIRST; size <= LIST_MAX; size *= LIST_GROWTH) {
        const auto buffer = std::make_unique_for_overwrite<char[]>(size);
        const ssize_t used = fill(folder, buffer.get(), size);
        if (used < 0) return false;
        if (static_cast<std::size_t>(used) == size) continue;
        visit_entries(buffer.get(), buffer.get() + used, visit);
        return true;
    }
    errno = ENOMEM;
    return false;
}

bool write_file(int fd, std::string_view bytes, bool durable) {
    if (!fits_file_size_limit(bytes.size())) {
        errno = EFBIG;
        return false;
    }
    while (!bytes.empty()) {
        const ssize_t written =
            uninterrupted([&] { return write(fd, bytes.data(), bytes.size()); });
        if (written < 0) return false;
        bytes.remove_prefix(static_cast<std::size_t>(written));
    }
    return !durable || make_durable(fd);
}

bool make_durable(int fd) {
    return uninterrupted([&] { return fsync(fd); }) == 0;
}

bool FileBytes::read(int fd, std::size_t limit) {
    m_size = 0;
    m_large.reset();
    std::byte* to = m_small;
    std::size_t room = std::min(SMALL, limit);
    while (true) {
        const ssize_t got = uninterrupted([&] { return ::read(fd, to + m_size, room - m_size); });
        if (got < 0) return false;
        m_size += static_cast<std::size_t>(got);
        // A regular file gives all it has at once; less than the room is its end.
        if (m_size < room || room == limit) return true;
        m_large = std::make_unique_for_overwrite<std::byte[]>(limit);
        std::memcpy(m_large.get(), m_small, m_size);
        to = m_large.get();
        room = limit;
    }
}

std::span<const std::byte> FileBytes::bytes() const {
    return {m_large ? m_large.get() : m_small, m_size};
}

} // namespace platform::registry
