#include "tools/evmshow/ChangeWatch.h"

#include "tools/evmshow/Interruption.h"
#include "tools/evmshow/Output.h"

#include <poll.h>
#include <sys/inotify.h>
#include <unistd.h>

#include <cerrno>

namespace evmshow {

namespace {

constexpr std::uint32_t NAMES = IN_CREATE | IN_MOVED_TO | IN_MOVED_FROM | IN_DELETE;
constexpr std::uint32_t CONTENT = IN_MODIFY;

std::string folderOf(const std::string& path) {
    const std::size_t slash = path.rfind('/');
    if (slash == std::string::npos) return ".";
    return slash == 0 ? "/" : path.substr(0, slash);
}

} // namespace

ChangeWatch::ChangeWatch(const std::string& path)
    : m_path(path), m_notices(inotify_init1(IN_CLOEXEC | IN_NONBLOCK)) {
    const bool watched = m_notices.get() >= 0 &&
                         inotify_add_watch(m_notices.get(), folderOf(path).c_str(), NAMES) >= 0;
    if (!watched) throw ReadError(m_path + ": cannot be followed", errno);
}

void ChangeWatch::watchContent(const InputFile& file) {
    if (m_content >= 0) inotify_rm_watch(m_notices.get(), m_content);
    // By its descriptor: its name may be another file's by now.
    const std::string open = "/proc/self/fd/" + std::to_string(file.descriptor());
    m_content = inotify_add_watch(m_notices.get(), open.c_str(), CONTENT);
    if (m_content < 0) throw ReadError(m_path + ": cannot be followed", errno);
}

void ChangeWatch::wait() {
    const InterruptionsBlocked blocked;
    if (interruptionRequested()) throw Interrupted();
    pollfd waits[] = {{m_notices.get(), POLLIN, 0}, {STDOUT_FILENO, 0, 0}};
    if (ppoll(waits, 2, nullptr, &blocked.outside()) < 0 && errno != EINTR)
        throw ReadError(m_path + ": cannot be followed", errno);
    if (interruptionRequested()) throw Interrupted();
    if ((waits[1].revents & (POLLERR | POLLHUP)) != 0)
        throw OutputError("standard output: nobody reads it any more");
    takeNotices();
}

/// That there are notices is enough: the file itself tells what has changed.
void ChangeWatch::takeNotices() {
    std::byte notices[4096];
    while (read(m_notices.get(), notices, sizeof notices) > 0) {
    }
}

} // namespace evmshow
