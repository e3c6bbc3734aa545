#include "platform/local/registry_change.h"
#include "platform/local/registry_files.h"
#include "platform/local/registry_read.h"
#include "platform/local/registry_write.h"

#include <unistd.h>

#include <cerrno>
#include <utility>

namespace platform::registry {
namespace {

constexpr auto EXCLUSIVE = FolderLock::Kind::exclusive;
constexpr const char* CHANGING = "changing its owner and mode";

/// Sub-keys that are plain files share the folder's security; before that changes they become
/// folders that keep it.
Outcome detach_subkeys(int folder) {
    std::vector<std::string> entries;
    const bool listed = list_folder(folder, [&](std::string_view entry, unsigned char) {
        if (unescape_component(entry)) entries.emplace_back(entry);
    });
    if (!listed) return Outcome::system("reading its folder", errno);
    for (const std::string& entry : entries)
        if (Outcome outcome = make_entry_a_folder(folder, entry);
            !outcome && outcome.status() != PRZKS_IO) // what is damaged stays as it is
            return outcome;
    return {};
}

Outcome change_folder(const Store& store, int folder, const struct stat& status,
                      const przks_security& security) {
    FolderLock lock;
    if (Outcome outcome = FolderLock::take(lock, folder, EXCLUSIVE); !outcome) return outcome;
    // Who may not change it must not come as far as its sub-keys. (Setting the same mode would ask
    // the kernel as well, but can cost the folder its set-group-ID bit.)
    const timespec same_times[] = {status.st_atim, status.st_mtim};
    if (futimens(folder, same_times) != 0) return Outcome::system(CHANGING, errno);
    if (Outcome outcome = detach_subkeys(folder); !outcome) return outcome;
    if (!give_security(folder, security)) return Outcome::system(CHANGING, errno);
    return settle(store, folder);
}

} // namespace

Outcome get_security(const Store& store, const Place& place, przks_security& security) {
    struct stat status {};
    if (Outcome outcome = look_up(store, place, status); !outcome) return outcome;
    security = security_of(status);
    return {};
}

Outcome set_security(const Store& store, const Place& place, const przks_security& security) {
    const przks_security wanted{security.uid, security.gid, security.mode & MODE_BITS};
    return repeat([&]() -> Outcome {
        struct stat status {};
        if (Outcome outcome = look_up(store, place, status); !outcome) return outcome;
        if (same_security(security_of(status), wanted)) return {};
        if (!S_ISDIR(status.st_mode)) {
            Outcome outcome = make_key_a_folder(store, place);
            return outcome ? Outcome::again() : std::move(outcome);
        }
        const Descriptor folder = open_beneath(store.keys.get(), place.path, OPEN_FOLDER);
        if (!folder) return Outcome::system({}, errno);
        return change_folder(store, folder.get(), status, wanted);
    });
}

} // namespace platform::registry
