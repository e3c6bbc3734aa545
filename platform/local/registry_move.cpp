#include "platform/local/registry_change.h"
#include "platform/local/registry_files.h"
#include "platform/local/registry_write.h"

#include <cerrno>

namespace platform::registry {
namespace {

constexpr auto SHARED = FolderLock::Kind::shared;
constexpr auto EXCLUSIVE = FolderLock::Kind::exclusive;

/// The two folders of a move, open and locked.
struct Folders {
    Descriptor from;
    Descriptor to;
    FolderLock from_lock;
    FolderLock to_lock;
    bool same = false;

    Outcome open(const Store& store, const Place& source, const Place& target) {
        if (Outcome outcome = open_holder(store, source, from); !outcome) return outcome;
        if (Outcome outcome = open_above(store, target, to); !outcome) return outcome;
        struct stat one {};
        struct stat other {};
        if (fstat(from.get(), &one) != 0 || fstat(to.get(), &other) != 0)
            return Outcome::system("looking at its folder", errno);
        same = same_inode(one, other);
        return {};
    }
    /// Replacing takes an entry away from the target, too.
    Outcome lock(bool replace) {
        if (same) return FolderLock::take(from_lock, from.get(), EXCLUSIVE);
        return FolderLock::take_two(from_lock, from.get(), EXCLUSIVE, to_lock, to.get(),
                                    replace ? EXCLUSIVE : SHARED);
    }
};

/// A plain file belongs to a folder of its own security; anywhere else the key needs a folder.
Outcome fit_form(const Folders& folders, const std::string& entry) {
    struct stat status {};
    struct stat above {};
    if (!status_of_entry(folders.from.get(), entry, status)) return Outcome::system({}, errno);
    if (!S_ISREG(status.st_mode)) return check_kind(status);
    if (fstat(folders.to.get(), &above) != 0)
        return Outcome::system("looking at its folder", errno);
    if (may_be_file(security_of(status), above)) return {};
    return make_entry_a_folder(folders.from.get(), entry);
}

Outcome settle_both(const Store& store, const Folders& folders) {
    if (Outcome outcome = settle(store, folders.to.get()); !outcome) return outcome;
    return folders.same ? Outcome() : settle(store, folders.from.get());
}

/// Puts the key in the place of another, which is deleted.
Outcome exchange(const Store& store, Folders& folders, const std::string& from,
                 const std::string& to) {
    if (rename_exchange(folders.from.get(), from, folders.to.get(), to) != 0)
        return errno == ENOENT ? Outcome::again() : Outcome::system({}, errno);
    const std::string gone = fresh_name(DELETED);
    const bool hidden = rename_new(folders.from.get(), from, folders.from.get(), gone) == 0;
    const int why = errno;
    folders.from_lock.release();
    folders.to_lock.release();
    if (!hidden) return Outcome::system("deleting the replaced key", why);
    Outcome outcome = settle_both(store, folders);
    remove_all(folders.from.get(), gone);
    return outcome;
}

Outcome move_once(const Store& store, const Place& from, const Place& to, bool replace) {
    Folders folders;
    if (Outcome outcome = folders.open(store, from, to); !outcome) return outcome;
    if (Outcome outcome = folders.lock(replace); !outcome) return outcome;
    if (Outcome outcome = fit_form(folders, from.entry()); !outcome) return outcome;
    if (rename_new(folders.from.get(), from.entry(), folders.to.get(), to.entry()) != 0) {
        if (errno != EEXIST || !replace) return Outcome::system({}, errno);
        return exchange(store, folders, from.entry(), to.entry());
    }
    folders.from_lock.release();
    folders.to_lock.release();
    return settle_both(store, folders);
}

} // namespace

Outcome move_key(const Store& store, const Place& from, const Place& to, bool replace) {
    if (from.is_root() || to.is_root())
        return Outcome::failure(PRZKS_BADNAME, "the root key stays");
    if (to.name.starts_with(from.name + "."))
        return Outcome::failure(PRZKS_BADARG, "a key cannot move below itself");
    if (from.name == to.name) return Outcome::failure(PRZKS_BADARG, "it is there already");
    return repeat([&] { return move_once(store, from, to, replace); });
}

} // namespace platform::registry
