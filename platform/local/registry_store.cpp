#include "platform/local/registry_store.h"

#include "platform/local/registry_files.h"
#include "platform/local/registry_temporary.h"

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <span>

namespace platform::registry {
namespace {

constexpr std::string_view FORMAT_LINE = "vorn registry 1\n";
constexpr unsigned SET_GROUP = S_ISGID; ///< entries of a folder get the folder's group
constexpr mode_t STORE_MODE = 0755;

/// Whether the root key holds anything; no also when that cannot be seen.
bool holds_keys(int folder) {
    bool any = false;
    const Descriptor keys = open_beneath(folder, KEYS_FOLDER, OPEN_FOLDER);
    if (keys) list_folder(keys.get(), [&](std::string_view, unsigned char) { any = true; });
    return any;
}

Outcome check_format(int folder) {
    const Descriptor file = open_beneath(folder, FORMAT_FILE, OPEN_VALUE);
    if (!file && errno != ENOENT) return Outcome::system("reading FORMAT", errno);
    if (!file && holds_keys(folder))
        return Outcome::failure(PRZKS_IO, "the file FORMAT is missing", ENOENT);
    if (!file) return Outcome::failure(PRZKS_NOSTORE, {}, ENOENT);
    FileBytes bytes;
    if (!bytes.read(file.get(), FORMAT_LINE.size() + 1))
        return Outcome::system("reading FORMAT", errno);
    const std::span<const std::byte> expected = std::as_bytes(std::span(FORMAT_LINE));
    if (!std::equal(expected.begin(), expected.end(), bytes.bytes().begin(), bytes.bytes().end()))
        return Outcome::failure(PRZKS_IO, "FORMAT does not name a format that is known here");
    return {};
}

Outcome write_format(int folder) {
    Temporary format(folder);
    if (Outcome outcome = format.make_file(FORMAT_LINE, true); !outcome) return outcome;
    if (fchmod(format.fd(), 0444) != 0) return Outcome::system("writing FORMAT", errno);
    if (rename_new(folder, format.name(), folder, FORMAT_FILE) != 0)
        return Outcome::system("writing FORMAT", errno);
    format.published();
    return {};
}

/// A folder that exists keeps the mode that the administrator gave it.
Outcome make_store_folder(const std::string& folder_name) {
    if (mkdir(folder_name.c_str(), STORE_MODE) == 0) {
        if (chmod(folder_name.c_str(), STORE_MODE) == 0) return {};
    } else if (errno == EEXIST) {
        return {};
    }
    return Outcome::system("making the folder", errno);
}

/// A folder that holds something else is no place for a store; what an interrupted creation left
/// is completed.
Outcome check_unused(int folder) {
    bool exists = false;
    bool foreign = false;
    const bool listed = list_folder(folder, [&](std::string_view name, unsigned char) {
        exists = exists || name == FORMAT_FILE;
        foreign = foreign || (name != KEYS_FOLDER && !name.starts_with(UNDER_CONSTRUCTION));
    });
    if (!listed) return Outcome::system("reading the folder", errno);
    if (exists) return Outcome::failure(PRZKS_EXISTS, "there is a registry already", EEXIST);
    if (foreign || holds_keys(folder))
        return Outcome::failure(PRZKS_EXISTS, "the folder is not empty", ENOTEMPTY);
    return {};
}

Outcome make_keys(int folder, const przks_security& security) {
    if (mkdirat(folder, KEYS_FOLDER, 0700) != 0 && errno != EEXIST)
        return Outcome::system("making the root key", errno);
    const Descriptor keys = open_beneath(folder, KEYS_FOLDER, OPEN_FOLDER);
    if (!keys || !give_security(keys.get(), security) || !make_durable(keys.get()))
        return Outcome::system("making the root key", errno);
    return {};
}

/// Changes owner and group, by way of a mode that allows nobody what only the old or only the new
/// security does. False with errno, and the mode as it was.
bool give_away(int fd, const przks_security& security, unsigned mode, unsigned meanwhile) {
    if (meanwhile != mode && fchmod(fd, meanwhile) != 0) return false;
    if (fchown(fd, security.uid, security.gid) == 0) return true;
    const int why = errno;
    if (meanwhile != mode) fchmod(fd, mode);
    errno = why;
    return false;
}

/// The folder above knows the store only once it is on the disk itself.
bool make_entry_durable(const std::string& folder_name) {
    const Descriptor above(open((folder_name + "/..").c_str(), OPEN_FOLDER | O_CLOEXEC));
    return above && make_durable(above.get());
}

} // namespace

Outcome Store::open(const std::string& folder_name, Store& store) {
    store.folder_name = folder_name;
    store.folder = Descriptor(::open(folder_name.c_str(), O_PATH | O_DIRECTORY | O_CLOEXEC));
    if (!store.folder && errno == ENOENT) return Outcome::failure(PRZKS_NOSTORE, {}, ENOENT);
    if (!store.folder && errno == ENOTDIR)
        return Outcome::failure(PRZKS_IO, "it is not a folder", ENOTDIR);
    if (!store.folder) return Outcome::system("opening the folder", errno);
    if (Outcome outcome = check_format(store.folder.get()); !outcome) return outcome;
    store.keys = open_beneath(store.folder.get(), KEYS_FOLDER, OPEN_PLACE | O_DIRECTORY);
    if (!store.keys) return Outcome::failure(PRZKS_IO, "the root key is missing", errno);
    return {};
}

Outcome Store::create(const std::string& folder_name, const przks_security& security) {
    if (Outcome outcome = make_store_folder(folder_name); !outcome) return outcome;
    const Descriptor folder(::open(folder_name.c_str(), OPEN_FOLDER | O_CLOEXEC));
    if (!folder) return Outcome::system("opening the folder", errno);
    if (Outcome outcome = check_unused(folder.get()); !outcome) return outcome;
    if (Outcome outcome = make_keys(folder.get(), security); !outcome) return outcome;
    if (Outcome outcome = write_format(folder.get()); !outcome) return outcome;
    if (!make_durable(folder.get()) || !make_entry_durable(folder_name))
        return Outcome::system("writing the folder", errno);
    return {};
}

Outcome Store::check_up() const {
    if (faccessat(folder.get(), DOWN_FILE, F_OK, AT_SYMLINK_NOFOLLOW) == 0)
        return Outcome::failure(PRZKS_DEFAULT_LOST,
                                "the service is down (a file DOWN stands in the store)");
    if (errno != ENOENT) return Outcome::system("looking whether the service is up", errno);
    return {};
}

bool Store::is_removed() const {
    struct stat status {};
    return fstat(keys.get(), &status) == 0 && status.st_nlink == 0;
}

przks_security security_of(const struct stat& status) {
    return {status.st_uid, status.st_gid, status.st_mode & MODE_BITS};
}

bool same_security(const przks_security& one, const przks_security& other) {
    return one.uid == other.uid && one.gid == other.gid && one.mode == other.mode;
}

bool give_security(int fd, const przks_security& security) {
    struct stat status {};
    if (fstat(fd, &status) != 0) return false;
    unsigned mode = security.mode & MODE_BITS;
    if (S_ISDIR(status.st_mode)) mode |= SET_GROUP | (mode & 0444u) >> 2;
    unsigned now = status.st_mode & 07777u;
    if (status.st_uid != security.uid || status.st_gid != security.gid) {
        if (!give_away(fd, security, now, now & mode)) return false;
        now &= mode;
    }
    return now == mode || fchmod(fd, mode) == 0;
}

bool may_be_file(const przks_security& security, const struct stat& above) {
    // Its owner need not belong to its group, and could give that to no new file otherwise.
    return same_security(security, security_of(above)) && (security.mode & 0022u) == 0 &&
           (above.st_mode & SET_GROUP) != 0;
}

Outcome check_kind(const struct stat& status) {
    if (S_ISREG(status.st_mode) || S_ISDIR(status.st_mode)) return {};
    return Outcome::system({}, S_ISLNK(status.st_mode) ? ELOOP : ENXIO);
}

} // namespace platform::registry
