#pragma once

#include "platform/local/registry_store.h"
#include "platform/local/registry_watch_tree.h"

#include <set>
#include <string>
#include <string_view>
#include <unordered_map>

struct inotify_event;

namespace platform::registry {

/// A key and everything below it, watched for changes. Beside the tree the folders above the key
/// are watched for the key itself, which may be moved away or deleted and come again.
class Watcher {
public:
    struct Change {
        przks_change kind = PRZKS_CHANGE_NONE;
        std::string name;
    };

    /// PRZKS_NOTFOUND when the key does not exist.
    Outcome open(const Store& store, const Place& place, std::size_t folders);
    [[nodiscard]] int descriptor() const { return m_epoll.get(); }

    /// Waits until there is a change or `timeout_ms` (negative: no end) are over.
    Outcome wait(int timeout_ms);
    /// The next change; it stays the next one until `taken`.
    [[nodiscard]] Change first() const;
    void taken();

private:
    Outcome open_descriptors();
    bool add_to_epoll(int fd);
    void attach();
    bool attach_above();
    [[nodiscard]] struct stat look() const;
    void look_again(bool told);

    void catch_up();
    void drain();
    void tick();
    void handle(const inotify_event& event, std::string_view entry);
    void handle_entry(const WatchTree::Folder& folder, const inotify_event& event,
                      std::string_view entry);
    void note(const std::string& top);
    void schedule();
    [[nodiscard]] bool has_pending() const;
    void show_pending();

    Place m_place;
    Descriptor m_keys;
    WatchTree m_tree;
    Descriptor m_epoll;
    Descriptor m_timer;
    Descriptor m_signal; ///< readable while changes are pending

    std::unordered_map<int, std::string> m_above; ///< watch of a folder above: the entry expected
    int m_holder = -1;                            ///< the one of these that holds the key
    bool m_above_complete = false;                ///< else the key is looked at once a second
    bool m_reattach = false;
    bool m_ticking = false;
    struct stat m_seen {}; ///< the key's entry; st_ino 0 while there is none

    std::set<std::string> m_changed; ///< direct sub-keys
    bool m_self = false;
    bool m_all = false;
    bool m_shown = false; ///< what m_signal says
};

} // namespace platform::registry
