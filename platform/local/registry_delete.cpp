#include "platform/local/registry_change.h"
#include "platform/local/registry_files.h"
#include "platform/local/registry_write.h"

#include <unistd.h>

#include <cerrno>

namespace platform::registry {
namespace {

Outcome check_no_subkeys(int folder) {
    bool any = false;
    const bool listed = list_folder(folder, [&](std::string_view entry, unsigned char) {
        any = any || unescape_component(entry).has_value();
    });
    if (!listed) return Outcome::system("reading its folder", errno);
    return any ? Outcome::failure(PRZKS_HASSUBKEYS, "it has sub-keys") : Outcome();
}

/// Deletes a key that is a folder: one step takes it away from readers, its entries follow.
Outcome delete_folder(const Store& store, int holder, FolderLock& lock, const std::string& entry,
                      bool with_subkeys) {
    // Nobody adds a sub-key between the look and the removal, nor, to one that is gone, after it.
    Descriptor folder;
    FolderLock inner;
    if (!with_subkeys) {
        folder = open_beneath(holder, entry, OPEN_FOLDER);
        if (!folder) return Outcome::system({}, errno);
        if (Outcome outcome = FolderLock::take(inner, folder.get(), FolderLock::Kind::exclusive);
            !outcome)
            return outcome;
        if (Outcome outcome = check_no_subkeys(folder.get()); !outcome) return outcome;
    }
    const std::string gone = fresh_name(DELETED);
    if (rename_new(holder, entry, holder, gone) != 0) return Outcome::system({}, errno);
    lock.release();
    Outcome outcome = settle(store, holder);
    remove_all(holder, gone);
    return outcome;
}

} // namespace

Outcome delete_key(const Store& store, const Place& place, bool with_subkeys) {
    if (place.is_root()) return Outcome::failure(PRZKS_BADNAME, "the root key stays");
    Descriptor holder;
    if (Outcome outcome = open_holder(store, place, holder); !outcome) return outcome;
    FolderLock lock;
    if (Outcome outcome = FolderLock::take(lock, holder.get(), FolderLock::Kind::exclusive);
        !outcome)
        return outcome;
    const std::string entry = place.entry();
    struct stat status {};
    if (!status_of_entry(holder.get(), entry, status)) return Outcome::system({}, errno);
    if (S_ISDIR(status.st_mode))
        return delete_folder(store, holder.get(), lock, entry, with_subkeys);
    if (unlinkat(holder.get(), entry.c_str(), 0) != 0) return Outcome::system({}, errno);
    lock.release();
    return settle(store, holder.get());
}

} // namespace platform::registry
