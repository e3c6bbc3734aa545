#include "platform/include/files.h"

#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <ctime>

namespace {

/// For a scope, a reader that is gone fails a write and raises no signal, whatever the process does
/// with signals otherwise.
class BrokenPipeGuard {
public:
    BrokenPipeGuard() {
        sigemptyset(&m_pipe);
        sigaddset(&m_pipe, SIGPIPE);
        sigset_t pending;
        sigpending(&pending);
        m_foreign = sigismember(&pending, SIGPIPE) == 1;
        pthread_sigmask(SIG_BLOCK, &m_pipe, &m_before);
    }
    ~BrokenPipeGuard() {
        const int saved = errno;
        constexpr std::timespec AT_ONCE{0, 0};
        if (m_raised && !m_foreign) sigtimedwait(&m_pipe, nullptr, &AT_ONCE);
        pthread_sigmask(SIG_SETMASK, &m_before, nullptr);
        errno = saved;
    }
    BrokenPipeGuard(const BrokenPipeGuard&) = delete;
    BrokenPipeGuard& operator=(const BrokenPipeGuard&) = delete;

    void note_raised() { m_raised = true; }

private:
    sigset_t m_pipe{};
    sigset_t m_before{};
    bool m_foreign = false; ///< pending before: not ours to take away
    bool m_raised = false;
};

} // namespace

bool write_all(int fd, const void* bytes, std::size_t length) {
    BrokenPipeGuard guard;
    const auto* at = static_cast<const std::byte*>(bytes);
    while (length != 0) {
        const ssize_t count = write(fd, at, length);
        if (count > 0) {
            at += count;
            length -= static_cast<std::size_t>(count);
        } else if (count == 0 || errno != EINTR) {
            if (count < 0 && errno == EPIPE) guard.note_raised();
            return false;
        }
    }
    return true;
}

std::size_t read_up_to(int fd, void* area, std::size_t length, bool& failed) {
    auto* const begin = static_cast<std::byte*>(area);
    std::size_t filled = 0;
    failed = false;
    while (filled < length && !failed) {
        const ssize_t count = read(fd, begin + filled, length - filled);
        if (count == 0) break;
        if (count > 0)
            filled += static_cast<std::size_t>(count);
        else
            failed = errno != EINTR;
    }
    return filled;
}

bool seek_to(int fd, std::int64_t offset) {
    return lseek(fd, offset, SEEK_SET) >= 0;
}
