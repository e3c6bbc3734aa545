#include "platform/local/registry_watch.h"

#include "platform/local/deadline.h"
#include "platform/local/registry_files.h"

#include <fcntl.h>
#include <poll.h>
#include <sys/epoll.h>
#include <sys/eventfd.h>
#include <sys/inotify.h>
#include <sys/timerfd.h>
#include <unistd.h>

#include <cerrno>
#include <cstdint>
#include <cstring>
#include <optional>
#include <vector>

namespace platform::registry {
namespace {

constexpr std::size_t EVENTS_AT_ONCE = std::size_t{16} * 1024;
/// Reads of events in one go; a store under constant change must not keep the caller from working.
constexpr int READS_AT_ONCE = 256;

bool same_entry(const struct stat& before, const struct stat& now) {
    return same_inode(before, now) && (before.st_mode & S_IFMT) == (now.st_mode & S_IFMT);
}

bool same_file(const struct stat& before, const struct stat& now) {
    return same_inode(before, now) && before.st_ctim.tv_sec == now.st_ctim.tv_sec &&
           before.st_ctim.tv_nsec == now.st_ctim.tv_nsec;
}

} // namespace

Outcome Watcher::open(const Store& store, const Place& place, std::size_t folders) {
    m_place = place;
    m_keys = Descriptor(fcntl(store.keys.get(), F_DUPFD_CLOEXEC, 0));
    if (!m_keys) return Outcome::system("watching", errno);
    if (Outcome outcome = open_descriptors(); !outcome) return outcome;
    m_tree.open(m_keys.get(), folders);
    attach();
    if (m_seen.st_ino == 0) return Outcome::system({}, ENOENT);
    schedule();
    return {};
}

Outcome Watcher::open_descriptors() {
    m_epoll = Descriptor(epoll_create1(EPOLL_CLOEXEC));
    m_timer = Descriptor(timerfd_create(CLOCK_MONOTONIC, TFD_NONBLOCK | TFD_CLOEXEC));
    m_signal = Descriptor(eventfd(0, EFD_NONBLOCK | EFD_CLOEXEC));
    if (!m_epoll || !m_timer || !m_signal || !add_to_epoll(m_timer.get()) ||
        !add_to_epoll(m_signal.get()))
        return Outcome::system("watching", errno);
    return {};
}

bool Watcher::add_to_epoll(int fd) {
    epoll_event event{};
    event.events = EPOLLIN;
    return epoll_ctl(m_epoll.get(), EPOLL_CTL_ADD, fd, &event) == 0;
}

/// Finds the key under its name, and watches it and the way to it from the beginning.
void Watcher::attach() {
    m_tree.clear();
    if (m_tree.descriptor() >= 0) add_to_epoll(m_tree.descriptor());
    m_above_complete = attach_above();
    m_seen = look();
    if (S_ISDIR(m_seen.st_mode)) m_tree.refresh(m_place.path, {});
    m_reattach = false;
}

/// Watches the folders above the key from the root on, as far as they exist: each tells when the
/// next one comes. False when one cannot be watched.
bool Watcher::attach_above() {
    m_above.clear();
    std::vector<Place> way;
    for (Place place = m_place; !place.is_root(); place = place.parent()) way.push_back(place);
    for (auto place = way.rbegin(); place != way.rend(); ++place) {
        const int watch = m_tree.watch_entries(place->parent_path());
        if (watch < 0) return m_tree.descriptor() >= 0 && (errno == ENOENT || errno == ENOTDIR);
        m_above[watch] = place->entry();
        m_holder = watch;
    }
    return true;
}

/// The status of the key's entry; st_ino 0 when there is none.
struct stat Watcher::look() const {
    struct stat status {};
    const Descriptor place = open_beneath(m_keys.get(), m_place.path, OPEN_PLACE);
    if (!place || fstat(place.get(), &status) != 0) status = {};
    return status;
}

/// Looks at the key's entry, which `told` says has changed; else that is found out.
void Watcher::look_again(bool told) {
    const struct stat now = look();
    const bool is_file = S_ISREG(now.st_mode) && S_ISREG(m_seen.st_mode);
    if (!told && (is_file ? same_file(m_seen, now) : same_entry(m_seen, now))) return;
    if (is_file) m_self = true;
    if (!is_file) m_reattach = true;
    m_seen = now;
}

void Watcher::drain() {
    alignas(inotify_event) char buffer[EVENTS_AT_ONCE];
    for (int reads = 0; reads < READS_AT_ONCE && !m_reattach && m_tree.descriptor() >= 0; ++reads) {
        const ssize_t got = read(m_tree.descriptor(), buffer, sizeof buffer);
        if (got <= 0) return; // nothing more, or interrupted: the next call goes on
        for (ssize_t at = 0; at < got;) {
            inotify_event event{};
            std::memcpy(&event, buffer + at, sizeof event);
            const char* const name = buffer + at + sizeof event;
            handle(event, event.len == 0 ? std::string_view() : std::string_view(name));
            at += static_cast<ssize_t>(sizeof event + event.len);
        }
    }
}

void Watcher::handle(const inotify_event& event, std::string_view entry) {
    if ((event.mask & (IN_Q_OVERFLOW | IN_UNMOUNT)) != 0) {
        m_reattach = true;
    } else if (const auto above = m_above.find(event.wd); above != m_above.end()) {
        if (entry != above->second) return;
        if (event.wd == m_holder)
            look_again(true);
        else
            m_reattach = true;
    } else if (const WatchTree::Folder* const folder = m_tree.find(event.wd)) {
        handle_entry(WatchTree::Folder(*folder), event, entry);
    }
}

/// A change of an entry of a folder of the tree, or (no entry) of the folder's own security.
void Watcher::handle_entry(const WatchTree::Folder& folder, const inotify_event& event,
                           std::string_view entry) {
    if ((event.mask & IN_IGNORED) != 0) return;
    if (entry.empty() || entry == VALUE_ENTRY) return note(folder.top);
    const std::optional<std::string> name = unescape_component(entry);
    if (!name) return; // under construction, or on its way out
    const bool is_watched_key = folder.top.empty();
    const std::string& top = is_watched_key ? *name : folder.top;
    if ((event.mask & IN_ISDIR) != 0)
        m_tree.refresh(
            folder.path.empty() ? std::string(entry) : folder.path + "/" + std::string(entry), top);
    note(top);
}

void Watcher::note(const std::string& top) {
    if (top.empty())
        m_self = true;
    else
        m_changed.insert(top);
}

/// Once a second, for what the kernel does not watch.
void Watcher::tick() {
    std::uint64_t ticks = 0;
    if (read(m_timer.get(), &ticks, sizeof ticks) != sizeof ticks) return;
    if (!m_above_complete) look_again(false);
    if (!m_reattach)
        m_tree.look(PRZKS_WATCH_LOOKS_PER_SECOND,
                    [&](const WatchTree::Folder& folder) { note(folder.top); });
}

/// Takes in everything that happened and arranges when to be called next.
void Watcher::catch_up() {
    drain();
    tick();
    if (m_reattach) {
        attach();
        m_all = true;
    }
    schedule();
    show_pending();
}

void Watcher::schedule() {
    const bool needed = !m_above_complete || m_tree.has_unwatched();
    if (needed == m_ticking) return;
    itimerspec time{};
    time.it_value.tv_sec = time.it_interval.tv_sec = needed ? 1 : 0;
    if (timerfd_settime(m_timer.get(), 0, &time, nullptr) == 0) m_ticking = needed;
}

bool Watcher::has_pending() const {
    return m_all || m_self || !m_changed.empty();
}

/// Keeps the descriptor readable while there are changes that were not taken.
void Watcher::show_pending() {
    if (has_pending() == m_shown) return;
    std::uint64_t count = 1;
    const ssize_t done = m_shown ? read(m_signal.get(), &count, sizeof count)
                                 : write(m_signal.get(), &count, sizeof count);
    if (done == sizeof count) m_shown = !m_shown;
}

Outcome Watcher::wait(int timeout_ms) {
    const Deadline end =
        timeout_ms < 0 ? Deadline::never() : Deadline::after_ms(static_cast<unsigned>(timeout_ms));
    while (true) {
        catch_up();
        if (has_pending() || end.passed()) return {};
        pollfd ready{m_epoll.get(), POLLIN, 0};
        if (poll(&ready, 1, end.poll_timeout()) < 0 && errno != EINTR)
            return Outcome::system("waiting for changes", errno);
    }
}

Watcher::Change Watcher::first() const {
    if (m_all) return {PRZKS_CHANGE_ALL, {}};
    if (m_self) return {PRZKS_CHANGE_SELF, {}};
    if (m_changed.empty()) return {};
    return {PRZKS_CHANGE_SUBKEY, *m_changed.begin()};
}

void Watcher::taken() {
    if (m_all) {
        m_all = m_self = false; // reading everything covers every single change
        m_changed.clear();
    } else if (m_self) {
        m_self = false;
    } else if (!m_changed.empty()) {
        m_changed.erase(m_changed.begin());
    }
    show_pending();
}

} // namespace platform::registry
