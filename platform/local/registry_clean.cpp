#include "platform/local/registry_change.h"
#include "platform/local/registry_files.h"
#include "platform/local/registry_temporary.h"

#include <dirent.h>
#include <unistd.h>

#include <cerrno>
#include <utility>
#include <vector>

namespace platform::registry {
namespace {

/// Cleans one folder and tells the keys in it that are folders. What is foreign to the store stays.
void clean_folder(int folder, const std::string& path, std::vector<std::string>& further) {
    std::vector<std::string> made;
    std::vector<std::string> deleted;
    list_folder(folder, [&](std::string_view entry, unsigned char type) {
        if (entry.starts_with(UNDER_CONSTRUCTION))
            made.emplace_back(entry);
        else if (entry.starts_with(DELETED))
            deleted.emplace_back(entry);
        else if ((type == DT_DIR || type == DT_UNKNOWN) && unescape_component(entry))
            further.push_back(path.empty() ? std::string(entry) : path + "/" + std::string(entry));
    });
    for (const std::string& entry : made) remove_abandoned(folder, entry);
    for (const std::string& entry : deleted) remove_all(folder, entry);
}

/// What an interrupted creation of the store left beside the root key.
void clean_store_folder(const Store& store) {
    std::vector<std::string> keys;
    const Descriptor folder = open_beneath(store.folder.get(), {}, OPEN_FOLDER);
    if (folder) clean_folder(folder.get(), {}, keys);
}

} // namespace

Outcome clean(const Store& store) {
    const Descriptor root = open_beneath(store.keys.get(), {}, OPEN_FOLDER);
    if (!root) return Outcome::system("opening the root key", errno);
    clean_store_folder(store);
    std::vector<std::string> waiting{std::string()};
    while (!waiting.empty()) {
        const std::string path = std::move(waiting.back());
        waiting.pop_back();
        // Folders that vanished or belong to others are theirs to clean.
        const Descriptor folder = open_beneath(store.keys.get(), path, OPEN_FOLDER);
        if (folder) clean_folder(folder.get(), path, waiting);
    }
    return {};
}

Outcome sync(const Store& store) {
    const Descriptor folder = open_beneath(store.keys.get(), {}, OPEN_FOLDER);
    if (!folder || syncfs(folder.get()) != 0) return Outcome::system("writing to the disk", errno);
    return {};
}

} // namespace platform::registry
