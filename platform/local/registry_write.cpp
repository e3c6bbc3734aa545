#include "platform/local/registry_write.h"

#include "platform/local/registry_files.h"

#include <unistd.h>

#include <cerrno>
#include <utility>

namespace platform::registry {
namespace {

/// Renames a finished value over `entry`, which must still be a file.
Outcome replace_file(int folder, const std::string& entry, Temporary& file) {
    FolderLock lock;
    if (Outcome outcome = FolderLock::take(lock, folder, FolderLock::Kind::shared); !outcome)
        return outcome;
    struct stat status {};
    if (!status_of_entry(folder, entry, status) || !S_ISREG(status.st_mode))
        return Outcome::again();
    if (renameat(folder, file.name().c_str(), folder, entry.c_str()) != 0)
        return errno == ENOENT ? Outcome::again() : Outcome::system("replacing its file", errno);
    file.published();
    return {};
}

Outcome set_in_file(const Store& store, int folder, const std::string& entry,
                    const struct stat& status, std::string_view bytes) {
    if (faccessat(folder, entry.c_str(), W_OK, AT_EACCESS) != 0) return Outcome::system({}, errno);
    Temporary file(folder);
    if (Outcome outcome = file.make_file(bytes, false); !outcome) return outcome;
    if (!give_security(file.fd(), security_of(status)))
        return Outcome::system("keeping its owner and mode", errno);
    if (store.durable && !make_durable(file.fd()))
        return Outcome::system("writing its file", errno);
    if (Outcome outcome = replace_file(folder, entry, file); !outcome) return outcome;
    return settle(store, folder);
}

/// Sets the value of a key that is the folder `folder`.
Outcome set_in_folder(const Store& store, int folder, std::string_view bytes) {
    Temporary file(folder);
    Outcome outcome = make_value_file(file, bytes, store.durable);
    // Nothing can be added to a folder that was removed meanwhile.
    if (!outcome) return outcome.oserror() == ENOENT ? Outcome::again() : std::move(outcome);
    FolderLock lock;
    if (outcome = FolderLock::take(lock, folder, FolderLock::Kind::shared); !outcome)
        return outcome;
    if (renameat(folder, file.name().c_str(), folder, VALUE_ENTRY) != 0)
        return errno == ENOENT ? Outcome::again() : Outcome::system("replacing its file", errno);
    file.published();
    lock.release();
    return settle(store, folder);
}

Outcome set_bytes(const Store& store, const Place& place, std::string_view bytes) {
    Descriptor holder;
    if (Outcome outcome = open_holder(store, place, holder); !outcome) return outcome;
    const std::string entry = place.is_root() ? std::string(".") : place.entry();
    struct stat status {};
    if (!status_of_entry(holder.get(), entry, status)) return Outcome::system({}, errno);
    if (S_ISREG(status.st_mode)) return set_in_file(store, holder.get(), entry, status, bytes);
    if (!S_ISDIR(status.st_mode)) return check_kind(status);
    const Descriptor folder = open_beneath(holder.get(), place.entry(), OPEN_FOLDER);
    if (folder) return set_in_folder(store, folder.get(), bytes);
    return errno == ENOENT || errno == ENOTDIR ? Outcome::again() : Outcome::system({}, errno);
}

} // namespace

Outcome set_value(const Store& store, const Place& place, const Value& value) {
    const std::string bytes = encode_value(value);
    return repeat([&] { return set_bytes(store, place, bytes); });
}

} // namespace platform::registry
