#include "platform/local/registry_files.h"
#include "platform/local/registry_write.h"

#include <unistd.h>

#include <cerrno>

namespace platform::registry {
namespace {

/// Who gets into a key's folder may read its value.
constexpr mode_t VALUE_MODE = 0444;

} // namespace

Outcome open_holder(const Store& store, const Place& place, Descriptor& folder) {
    folder = open_beneath(store.keys.get(), place.parent_path(), OPEN_FOLDER);
    return folder ? Outcome() : Outcome::system({}, errno);
}

Outcome open_above(const Store& store, const Place& place, Descriptor& folder) {
    folder = open_beneath(store.keys.get(), place.parent_path(), OPEN_FOLDER);
    if (folder) return {};
    const int why = errno;
    if (why != ENOTDIR && why != ENOENT) return Outcome::system({}, why);
    const Descriptor above = open_beneath(store.keys.get(), place.parent_path(), OPEN_PLACE);
    struct stat status {};
    if (!above && (errno == ENOENT || errno == ENOTDIR))
        return Outcome::failure(PRZKS_NOTFOUND, "the key above it does not exist", errno);
    if (!above || fstat(above.get(), &status) != 0)
        return Outcome::system("looking at the key above", errno);
    if (!S_ISREG(status.st_mode)) {
        Outcome outcome = check_kind(status);
        return outcome ? Outcome::again() : std::move(outcome);
    }
    Outcome outcome = make_key_a_folder(store, place.parent());
    return outcome ? Outcome::again() : std::move(outcome);
}

Outcome make_value_file(Temporary& file, std::string_view bytes, bool durable) {
    if (Outcome outcome = file.make_file(bytes, false); !outcome) return outcome;
    if (fchmod(file.fd(), VALUE_MODE) != 0) return Outcome::system("writing its file", errno);
    if (durable && !make_durable(file.fd())) return Outcome::system("writing its file", errno);
    return {};
}

Outcome make_entry_a_folder(int folder, const std::string& entry) {
    constexpr const char* DOING = "making room for sub-keys or a security of its own";
    struct stat status {};
    if (!status_of_entry(folder, entry, status)) return Outcome::system({}, errno);
    if (!S_ISREG(status.st_mode)) return check_kind(status);
    Temporary made(folder);
    if (Outcome outcome = made.make_folder(); !outcome) return outcome;
    if (linkat(folder, entry.c_str(), made.fd(), VALUE_ENTRY, 0) != 0 ||
        !give_security(made.fd(), security_of(status)) || !make_durable(made.fd()) ||
        rename_exchange(folder, made.name(), folder, entry) != 0)
        return Outcome::system(DOING, errno);
    made.exchanged();
    // The value's file had the key's mode; from now on the folder guards it.
    const Descriptor value = open_beneath(made.fd(), VALUE_ENTRY, OPEN_VALUE);
    if (value) fchmod(value.get(), VALUE_MODE);
    return {};
}

Outcome make_key_a_folder(const Store& store, const Place& place) {
    Descriptor holder;
    if (Outcome outcome = open_holder(store, place, holder); !outcome) return outcome;
    FolderLock lock;
    if (Outcome outcome = FolderLock::take(lock, holder.get(), FolderLock::Kind::exclusive);
        !outcome)
        return outcome;
    if (Outcome outcome = make_entry_a_folder(holder.get(), place.entry()); !outcome)
        return outcome;
    return settle(store, holder.get());
}

Outcome settle(const Store& store, int folder) {
    if (!store.durable || make_durable(folder)) return {};
    return Outcome::system("making the change durable", errno);
}

} // namespace platform::registry
