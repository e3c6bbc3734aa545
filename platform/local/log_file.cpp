#include "platform/local/log_file.h"

#include "platform/include/clock.h"

#include <fcntl.h>
#include <sys/file.h>
#include <sys/resource.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <limits>
#include <utility>

namespace {

constexpr mode_t FOLDER_MODE = 0755;
constexpr mode_t FILE_MODE = 0644;

int openRepeating(const char* path) {
    // A pipe of that name must not make the caller wait for a reader.
    constexpr int flags =
        O_WRONLY | O_APPEND | O_CREAT | O_NOFOLLOW | O_CLOEXEC | O_NONBLOCK | O_NOCTTY;
    int descriptor = -1;
    do descriptor = ::open(path, flags, FILE_MODE);
    while (descriptor < 0 && errno == EINTR);
    return descriptor;
}

int openCreatingFolder(const std::string& path) {
    const int descriptor = openRepeating(path.c_str());
    if (descriptor >= 0 || errno != ENOENT) return descriptor;
    const std::string folder = path.substr(0, path.find_last_of('/'));
    if (mkdir(folder.c_str(), FOLDER_MODE) != 0 && errno != EEXIST) return -1;
    return openRepeating(path.c_str());
}

/// The same file under a number that is no standard stream's: a process that was started without
/// its standard streams must not print into its log.
int aboveStandardStreams(int descriptor) {
    if (descriptor < 0 || descriptor > STDERR_FILENO) return descriptor;
    const int moved = fcntl(descriptor, F_DUPFD_CLOEXEC, STDERR_FILENO + 1);
    ::close(descriptor);
    return moved;
}

/// A write beyond this size would end the process by a signal.
std::int64_t processFileLimit() {
    rlimit limit{};
    constexpr auto unlimited = std::numeric_limits<std::int64_t>::max();
    if (getrlimit(RLIMIT_FSIZE, &limit) != 0 || limit.rlim_cur == RLIM_INFINITY) return unlimited;
    return static_cast<std::int64_t>(std::min(limit.rlim_cur, static_cast<rlim_t>(unlimited)));
}

} // namespace

LogFile::LogFile(std::string path, std::int64_t limit) : m_path(std::move(path)), m_limit(limit) {}

bool LogFile::append(std::string_view line) noexcept try {
    const StaticLock lock(m_mutex);
    return ready(line.size()) && write(line);
} catch (...) {
    return false; // no memory
}

bool LogFile::ready(std::size_t length) {
    struct stat status {};
    if (!m_file || lstat(m_path.c_str(), &status) != 0 || !isCurrent(status)) {
        m_file.reset();
        if (!open() || fstat(m_file.get(), &status) != 0) return false;
    }
    const auto fits = [&](std::int64_t limit) {
        return status.st_size <= limit - static_cast<std::int64_t>(length);
    };
    if (status.st_size != 0 && !fits(std::min(m_limit, m_processLimit))) {
        putAside();
        if (!m_file || fstat(m_file.get(), &status) != 0) return false;
    }
    return fits(m_processLimit);
}

bool LogFile::open() {
    const std::uint64_t now = sltrgatime64();
    if (now < m_retryOpen) return false;
    m_retryOpen = now + RETRY_MS;
    m_file.reset(aboveStandardStreams(openCreatingFolder(m_path)));
    struct stat status {};
    if (!m_file || fstat(m_file.get(), &status) != 0 || !S_ISREG(status.st_mode)) {
        m_file.reset();
        return false;
    }
    m_device = status.st_dev;
    m_inode = status.st_ino;
    m_processLimit = processFileLimit();
    m_torn = false;
    m_retryOpen = 0;
    return true;
}

bool LogFile::isCurrent(const struct stat& status) const {
    return status.st_dev == m_device && status.st_ino == m_inode;
}

void LogFile::putAside() {
    const std::uint64_t now = sltrgatime64();
    if (now < m_retryPutAside) return;
    // Whoever holds the lock is putting the file aside right now.
    if (flock(m_file.get(), LOCK_EX | LOCK_NB) != 0) return;
    struct stat status {};
    // The lock may have come after another process was done: then only the name is followed.
    const bool mine = lstat(m_path.c_str(), &status) == 0 && isCurrent(status);
    if (mine && !shiftFiles()) {
        m_retryPutAside = now + RETRY_MS;
        flock(m_file.get(), LOCK_UN);
        return;
    }
    m_file.reset();
    open();
}

/// False when a file could not be moved; the current one is then where it was.
bool LogFile::shiftFiles() {
    const auto numbered = [this](int number) { return m_path + '.' + std::to_string(number); };
    for (int number = LOG_FILE_KEPT - 1; number >= 1; --number) {
        const bool moved = rename(numbered(number).c_str(), numbered(number + 1).c_str()) == 0;
        if (!moved && errno != ENOENT) return false;
    }
    return rename(m_path.c_str(), numbered(1).c_str()) == 0;
}

bool LogFile::write(std::string_view line) {
    // The rest of a line that a full disk cut stays a line of its own.
    const std::string whole = m_torn ? '\n' + std::string(line) : std::string();
    const std::string_view bytes = m_torn ? std::string_view(whole) : line;
    ssize_t written = -1;
    do written = ::write(m_file.get(), bytes.data(), bytes.size());
    while (written < 0 && errno == EINTR);
    if (written <= 0) return false;
    m_torn = static_cast<std::size_t>(written) != bytes.size();
    return !m_torn;
}
