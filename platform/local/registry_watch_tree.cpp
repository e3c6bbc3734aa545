#include "platform/local/registry_watch_tree.h"

#include "platform/local/registry_files.h"
#include "platform/local/registry_name.h"

#include <dirent.h>
#include <sys/inotify.h>

#include <cstdint>
#include <ctime>
#include <utility>
#include <vector>

namespace platform::registry {
namespace {

/// Every change of the store is a rename, a removal or a change of owner or mode.
constexpr unsigned ENTRIES = IN_MOVED_TO | IN_MOVED_FROM | IN_DELETE | IN_ONLYDIR;
constexpr unsigned ENTRIES_AND_SELF = ENTRIES | IN_ATTRIB;
/// File times advance in steps: after a change this recent the next may look the same.
constexpr std::int64_t SETTLED_AFTER_NS = 100'000'000;

std::int64_t to_ns(const timespec& time) {
    return std::int64_t{time.tv_sec} * 1'000'000'000 + time.tv_nsec;
}

bool unchanged(const struct stat& before, const struct stat& now) {
    return same_inode(before, now) && to_ns(before.st_ctim) == to_ns(now.st_ctim);
}

/// What may still change unseen counts as not seen yet.
void settle(struct stat& seen) {
    timespec now{};
    clock_gettime(CLOCK_REALTIME, &now);
    if (to_ns(now) - to_ns(seen.st_ctim) <= SETTLED_AFTER_NS) seen.st_ctim = {};
}

} // namespace

void WatchTree::open(int keys, std::size_t bound) {
    m_keys = keys;
    m_bound = bound;
    m_inotify = Descriptor(inotify_init1(IN_NONBLOCK | IN_CLOEXEC));
}

int WatchTree::watch_open_folder(int fd, unsigned mask) {
    if (!m_inotify) return -1;
    const std::string path = "/proc/self/fd/" + std::to_string(fd);
    return inotify_add_watch(m_inotify.get(), path.c_str(), mask);
}

int WatchTree::watch_entries(const std::string& path) {
    const Descriptor fd = open_beneath(m_keys, path, OPEN_FOLDER);
    return fd ? watch_open_folder(fd.get(), ENTRIES) : -1;
}

void WatchTree::observe(State& state, int fd) {
    if (m_by_watch.size() < m_bound) state.watch = watch_open_folder(fd, ENTRIES_AND_SELF);
    if (state.watch < 0) {
        if (fstat(fd, &state.seen) == 0) settle(state.seen);
        m_in_turn.insert(state.folder.path);
        return;
    }
    // The same folder under the name it had before it was moved.
    if (const auto known = m_by_watch.find(state.watch); known != m_by_watch.end()) {
        const auto before = m_folders.find(known->second->folder.path);
        if (before != m_folders.end()) before->second.watch = -1;
    }
    m_by_watch[state.watch] = &state;
}

bool WatchTree::add(const std::string& path, const std::string& top, std::set<std::string>& found) {
    const Descriptor fd = open_beneath(m_keys, path, OPEN_FOLDER);
    if (!fd) return false;
    State& state = m_folders[path];
    state.folder = {path, top};
    observe(state, fd.get()); // before the list is taken, so that nothing falls between
    list_folder(fd.get(), [&](std::string_view entry, unsigned char type) {
        if ((type == DT_DIR || type == DT_UNKNOWN) && unescape_component(entry))
            found.emplace(entry);
    });
    return true;
}

void WatchTree::refresh(const std::string& path, const std::string& top) {
    forget(path);
    std::vector<Folder> waiting{{path, top}};
    while (!waiting.empty()) {
        const Folder next = std::move(waiting.back());
        waiting.pop_back();
        std::set<std::string> found;
        if (!add(next.path, next.top, found)) continue;
        const bool is_watched_key = next.top.empty();
        for (const std::string& entry : found)
            waiting.push_back({next.path.empty() ? entry : next.path + "/" + entry,
                               is_watched_key ? *unescape_component(entry) : next.top});
    }
}

WatchTree::Folders::iterator WatchTree::drop(Folders::iterator folder) {
    const int watch = folder->second.watch;
    if (watch >= 0) {
        inotify_rm_watch(m_inotify.get(), watch);
        m_by_watch.erase(watch);
    }
    m_in_turn.erase(folder->first);
    return m_folders.erase(folder);
}

void WatchTree::forget(const std::string& path) {
    if (const auto itself = m_folders.find(path); itself != m_folders.end()) drop(itself);
    const std::string prefix = path.empty() ? path : path + "/";
    auto at = m_folders.lower_bound(prefix);
    while (at != m_folders.end() && at->first.starts_with(prefix)) at = drop(at);
}

void WatchTree::clear() {
    m_folders.clear();
    m_by_watch.clear();
    m_in_turn.clear();
    // A new instance costs less than taking every watch back, and holds no old events.
    m_inotify = Descriptor(inotify_init1(IN_NONBLOCK | IN_CLOEXEC));
}

const WatchTree::Folder* WatchTree::find(int watch) const {
    const auto found = m_by_watch.find(watch);
    return found == m_by_watch.end() ? nullptr : &found->second->folder;
}

void WatchTree::look(std::size_t count, const std::function<void(const Folder&)>& changed) {
    std::vector<Folder> different;
    for (std::size_t looked = 0; looked < count && looked < m_in_turn.size(); ++looked) {
        auto at = m_in_turn.upper_bound(m_looked_at);
        if (at == m_in_turn.end()) at = m_in_turn.begin();
        m_looked_at = *at;
        const State& state = m_folders.at(*at);
        struct stat now {};
        const Descriptor fd = open_beneath(m_keys, *at, OPEN_PLACE);
        if (!fd || fstat(fd.get(), &now) != 0 || !unchanged(state.seen, now))
            different.push_back(state.folder);
    }
    for (const Folder& folder : different) {
        refresh(folder.path, folder.top);
        changed(folder);
    }
}

} // namespace platform::registry
