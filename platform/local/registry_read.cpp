#include "platform/local/registry_read.h"

#include <unistd.h>

#include <algorithm>
#include <cerrno>

namespace platform::registry {
namespace {

/// PRZKS_OK while `folder`, opened before as `path` below `below`, still is what stands there.
/// Otherwise (Outcome::again) its entries are on their way to deletion, or at home somewhere else,
/// and tell nothing about the key.
Outcome check_still_there(int below, const std::string& path, int folder) {
    struct stat opened {};
    struct stat found {};
    const Descriptor now = open_beneath(below, path, OPEN_PLACE);
    if (!now && (errno == ENOENT || errno == ENOTDIR)) return Outcome::again();
    if (!now || fstat(folder, &opened) != 0 || fstat(now.get(), &found) != 0)
        return Outcome::system("looking at its folder again", errno);
    return same_inode(opened, found) ? Outcome() : Outcome::again();
}

Outcome damaged(std::string_view how) {
    return Outcome::failure(PRZKS_IO, "its file is damaged: " + std::string(how));
}

/// Reads and checks the file of a value, opened and looked at before.
Outcome read_file(int fd, ReadValue& result) {
    if (Outcome outcome = check_kind(result.status); !outcome) return outcome;
    if (!result.file.read(fd, VALUE_FILE_MAX + 1))
        return Outcome::system("reading its file", errno);
    const char* const fault = decode_value(result.file.bytes(), result.value);
    return fault == nullptr ? Outcome() : damaged(fault);
}

/// Reads the value of a key that is a folder.
Outcome read_in_folder(int below, const std::string& path, int folder, ReadValue& result) {
    const Descriptor file = open_beneath(folder, VALUE_ENTRY, OPEN_VALUE);
    if (!file) {
        if (errno != ENOENT) return Outcome::system({}, errno);
        if (Outcome outcome = check_still_there(below, path, folder); !outcome) return outcome;
        result.path.clear();
        result.value = {};
        return {};
    }
    result.path = path.empty() ? VALUE_ENTRY : path + "/" + VALUE_ENTRY;
    if (fstat(file.get(), &result.status) != 0)
        return Outcome::system("looking at its file", errno);
    if (S_ISDIR(result.status.st_mode)) return damaged("not a regular file");
    return read_file(file.get(), result);
}

/// Reads the value of the key at `path` below the open folder `below`.
Outcome read_below(int below, const std::string& path, ReadValue& result) {
    return repeat([&]() -> Outcome {
        const Descriptor fd = open_beneath(below, path, OPEN_VALUE);
        if (!fd || fstat(fd.get(), &result.status) != 0) return Outcome::system({}, errno);
        if (S_ISDIR(result.status.st_mode)) return read_in_folder(below, path, fd.get(), result);
        result.path = path;
        return read_file(fd.get(), result);
    });
}

/// The names of the sub-keys of a key, and its folder; that stays closed when it has none.
Outcome open_and_list(const Store& store, const Place& place, Descriptor& folder,
                      std::vector<std::string>& names) {
    names.clear();
    Descriptor fd = open_beneath(store.keys.get(), place.path, OPEN_VALUE);
    struct stat status {};
    if (!fd || fstat(fd.get(), &status) != 0) return Outcome::system({}, errno);
    if (!S_ISDIR(status.st_mode)) return check_kind(status);
    const bool listed = list_folder(fd.get(), [&](std::string_view entry, unsigned char) {
        if (std::optional<std::string> name = unescape_component(entry))
            names.push_back(std::move(*name));
    });
    if (!listed) return Outcome::system("reading its folder", errno);
    if (Outcome outcome = check_still_there(store.keys.get(), place.path, fd.get()); !outcome)
        return outcome;
    std::sort(names.begin(), names.end()); // as bytes without sign
    folder = std::move(fd);
    return {};
}

} // namespace

Outcome look_up(const Store& store, const Place& place, struct stat& status) {
    const Descriptor fd = open_beneath(store.keys.get(), place.path, OPEN_PLACE);
    if (!fd || fstat(fd.get(), &status) != 0) return Outcome::system({}, errno);
    return check_kind(status);
}

Outcome read_value(const Store& store, const Place& place, ReadValue& result) {
    return read_below(store.keys.get(), place.path, result);
}

Outcome list_subkeys(const Store& store, const Place& place, std::vector<std::string>& names) {
    Descriptor folder;
    return repeat([&] { return open_and_list(store, place, folder, names); });
}

Outcome read_subkeys(const Store& store, const Place& place, const VisitValue& visit) {
    Descriptor folder;
    std::vector<std::string> names;
    Outcome listed = repeat([&] { return open_and_list(store, place, folder, names); });
    if (!listed || !folder) return listed;
    ReadValue read;
    for (const std::string& name : names) {
        const Outcome outcome = read_below(folder.get(), escape_component(name), read);
        if (outcome.status() == PRZKS_NOTFOUND) continue;
        if (!visit(name, outcome, read.value)) return {};
    }
    Outcome outcome = check_still_there(store.keys.get(), place.path, folder.get());
    if (!outcome.is_again()) return outcome;
    struct stat status {};
    if (outcome = look_up(store, place, status); !outcome) return outcome;
    return Outcome::failure(PRZKS_BUSY, "another key took its place meanwhile");
}

} // namespace platform::registry
