#include "platform/local/registry_read.h"

#include <unistd.h>

#include <algorithm>
#include <cerrno>

namespace platform::registry {
namespace {

/// Whether `folder`, opened before under `path`, still is what stands there. Otherwise its entries
/// are on their way to deletion, or at home somewhere else, and tell nothing about the key.
bool still_there(const Store& store, const std::string& path, int folder) {
    struct stat opened {};
    struct stat found {};
    const Descriptor now = open_beneath(store.keys.get(), path, OPEN_PLACE);
    return now && fstat(folder, &opened) == 0 && fstat(now.get(), &found) == 0 &&
           same_inode(opened, found);
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
Outcome read_in_folder(const Store& store, const Place& place, int folder, ReadValue& result) {
    const Descriptor file = open_beneath(folder, VALUE_ENTRY, OPEN_VALUE);
    if (!file) {
        if (errno != ENOENT) return Outcome::system({}, errno);
        if (!still_there(store, place.path, folder)) return Outcome::again();
        result.path.clear();
        result.value = {};
        return {};
    }
    result.path = place.is_root() ? VALUE_ENTRY : place.path + "/" + VALUE_ENTRY;
    if (fstat(file.get(), &result.status) != 0)
        return Outcome::system("looking at its file", errno);
    if (S_ISDIR(result.status.st_mode)) return damaged("not a regular file");
    return read_file(file.get(), result);
}

Outcome list_open_folder(const Store& store, const Place& place, int folder,
                         std::vector<std::string>& names) {
    names.clear();
    const bool listed = list_folder(folder, [&](std::string_view entry, unsigned char) {
        if (std::optional<std::string> name = unescape_component(entry))
            names.push_back(std::move(*name));
    });
    if (!listed) return Outcome::system("reading its folder", errno);
    if (!still_there(store, place.path, folder)) return Outcome::again();
    std::sort(names.begin(), names.end()); // as bytes without sign
    return {};
}

} // namespace

Outcome look_up(const Store& store, const Place& place, struct stat& status) {
    const Descriptor fd = open_beneath(store.keys.get(), place.path, OPEN_PLACE);
    if (!fd || fstat(fd.get(), &status) != 0) return Outcome::system({}, errno);
    return check_kind(status);
}

Outcome read_value(const Store& store, const Place& place, ReadValue& result) {
    return repeat([&]() -> Outcome {
        const Descriptor fd = open_beneath(store.keys.get(), place.path, OPEN_VALUE);
        if (!fd || fstat(fd.get(), &result.status) != 0) return Outcome::system({}, errno);
        if (S_ISDIR(result.status.st_mode)) return read_in_folder(store, place, fd.get(), result);
        result.path = place.path;
        return read_file(fd.get(), result);
    });
}

Outcome list_subkeys(const Store& store, const Place& place, std::vector<std::string>& names) {
    return repeat([&]() -> Outcome {
        const Descriptor fd = open_beneath(store.keys.get(), place.path, OPEN_VALUE);
        struct stat status {};
        if (!fd || fstat(fd.get(), &status) != 0) return Outcome::system({}, errno);
        if (S_ISDIR(status.st_mode)) return list_open_folder(store, place, fd.get(), names);
        names.clear();
        return check_kind(status);
    });
}

} // namespace platform::registry
