#pragma once

#include "platform/local/descriptor.h"

#include <sys/stat.h>

#include <cstddef>
#include <functional>
#include <map>
#include <set>
#include <string>
#include <string_view>
#include <unordered_map>

namespace platform::registry {

/// The folders of a watched tree. The kernel tells of changes in most of them; those above the
/// bound are looked at in turn. Paths are below the root key's folder.
class WatchTree {
public:
    struct Folder {
        std::string path;
        std::string top; ///< the watched key's direct sub-key it belongs to; empty: the key itself
    };

    /// `keys` must outlive the tree. False with errno. Without the kernel's help (no instance left
    /// for this user) everything is looked at in turn.
    void open(int keys, std::size_t bound);

    /// -1 when the kernel does not help.
    [[nodiscard]] int descriptor() const { return m_inotify.get(); }
    /// Watches one folder for entries that come and go, apart from the tree. -1: it cannot be.
    int watch_entries(const std::string& path);

    /// Finds anew what is at `path` and below it.
    void refresh(const std::string& path, const std::string& top);
    void clear();
    /// The folder of a kernel's watch; null when it is not of the tree (any more).
    const Folder* find(int watch) const;

    [[nodiscard]] bool has_unwatched() const { return !m_in_turn.empty(); }
    /// Looks at up to `count` unwatched folders and tells those that changed.
    void look(std::size_t count, const std::function<void(const Folder&)>& changed);

private:
    struct State {
        Folder folder;
        int watch = -1;
        struct stat seen; ///< when there is no watch
    };
    using Folders = std::map<std::string, State>;

    void forget(const std::string& path);
    Folders::iterator drop(Folders::iterator folder);
    bool add(const std::string& path, const std::string& top, std::set<std::string>& found);
    void observe(State& state, int fd);
    int watch_open_folder(int fd, unsigned mask);

    int m_keys = -1;
    std::size_t m_bound = 0;
    Descriptor m_inotify;
    Folders m_folders;
    std::unordered_map<int, const State*> m_by_watch;
    std::set<std::string> m_in_turn;
    std::string m_looked_at; ///< the last one
};

} // namespace platform::registry
