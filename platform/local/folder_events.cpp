#include "platform/local/folder_events.h"

#include "platform/local/deadline.h"

#include <poll.h>
#include <sys/inotify.h>

#include <array>
#include <cstring>
#include <utility>

namespace platform {
namespace {

/// Between two claimed events while the kernel reports none.
constexpr std::uint64_t BLIND_PAUSE_MS = 1000;
constexpr std::uint32_t ENTRY_EVENTS =
    IN_CREATE | IN_MOVED_TO | IN_MOVED_FROM | IN_DELETE | IN_CLOSE_WRITE;
constexpr std::uint32_t FOLDER_EVENTS = IN_DELETE_SELF | IN_MOVE_SELF;
constexpr std::size_t EVENTS_SIZE = 4096;

} // namespace

FolderEvents::FolderEvents(std::string folder)
    : m_folder(std::move(folder)), m_notify(inotify_init1(IN_CLOEXEC | IN_NONBLOCK)) {}

bool FolderEvents::attach() {
    if (m_watch < 0 && m_notify)
        m_watch = inotify_add_watch(m_notify.get(), m_folder.c_str(),
                                    ENTRY_EVENTS | FOLDER_EVENTS | IN_ONLYDIR);
    return m_watch >= 0;
}

/// Takes in what has happened.
bool FolderEvents::take(std::string_view prefix) {
    alignas(inotify_event) std::array<char, EVENTS_SIZE> bytes{};
    bool any = false;
    ssize_t length = 0;
    while ((length = read(m_notify.get(), bytes.data(), bytes.size())) > 0) {
        for (std::size_t at = 0; at < static_cast<std::size_t>(length);) {
            inotify_event event{};
            std::memcpy(&event, &bytes[at], sizeof event);
            const std::string_view name(event.len != 0 ? &bytes[at + sizeof event] : "");
            any = any || (event.mask & ~ENTRY_EVENTS) != 0 || name.starts_with(prefix);
            if ((event.mask & IN_MOVE_SELF) != 0) inotify_rm_watch(m_notify.get(), event.wd);
            if ((event.mask & IN_IGNORED) != 0) m_watch = -1;
            at += sizeof event + event.len;
        }
    }
    return any;
}

bool FolderEvents::wait(int timeout_ms, std::string_view prefix) {
    const Deadline end =
        timeout_ms < 0 ? Deadline::never() : Deadline::after_ms(static_cast<unsigned>(timeout_ms));
    const bool was_blind = m_watch < 0;
    const bool blind = !attach();
    if (was_blind && !blind) return true; // whatever happened meanwhile
    const Deadline pause = blind ? Deadline::after_ms(BLIND_PAUSE_MS) : Deadline::never();
    while (true) {
        // An entry with a negative descriptor is passed over.
        pollfd ready{blind ? -1 : m_notify.get(), POLLIN, 0};
        poll(&ready, 1, Deadline::earlier(end, pause).poll_timeout());
        if (ready.revents != 0 && take(prefix)) return true;
        if (pause.passed()) return true;
        if (end.passed()) return false;
    }
}

} // namespace platform
