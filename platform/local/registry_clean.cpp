#include "platform/local/registry_change.h"
#include "platform/local/registry_files.h"
#include "platform/local/registry_temporary.h"

#include <dirent.h>
#include <unistd.h>

#include <cerrno>
#include <ctime>
#include <utility>
#include <vector>

namespace platform::registry {
namespace {

/// Nothing is under construction for longer, however busy the machine is.
constexpr std::time_t ABANDONED_AFTER_S = 60;

bool is_abandoned(int folder, const std::string& entry) {
    if (entry.starts_with(DELETED)) return true;
    struct stat status {};
    return status_of_entry(folder, entry, status) &&
           status.st_mtime < std::time(nullptr) - ABANDONED_AFTER_S;
}

/// Cleans one folder and tells the folders in it.
void clean_folder(int folder, const std::string& path, std::vector<std::string>& further) {
    std::vector<std::string> leftovers;
    list_folder(folder, [&](std::string_view entry, unsigned char type) {
        if (entry.starts_with(UNDER_CONSTRUCTION) || entry.starts_with(DELETED))
            leftovers.emplace_back(entry);
        else if (type == DT_DIR || type == DT_UNKNOWN)
            further.push_back(path.empty() ? std::string(entry) : path + "/" + std::string(entry));
    });
    for (const std::string& entry : leftovers)
        if (is_abandoned(folder, entry)) remove_all(folder, entry);
}

} // namespace

Outcome clean(const Store& store) {
    const Descriptor root = open_beneath(store.keys.get(), {}, OPEN_FOLDER);
    if (!root) return Outcome::system("opening the root key", errno);
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
