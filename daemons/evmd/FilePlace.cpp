#include "daemons/evmd/FilePlace.h"

#include "daemons/evmd/DaemonLog.h"
#include "daemons/evmd/RecordScan.h"

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>

#include <cstdio>

namespace evmd {

namespace {

constexpr mode_t FILE_MODE = 0640; ///< events hold what some users may not read
constexpr mode_t LOCK_MODE = 0600; ///< others must not be able to hold the name
constexpr unsigned DAMAGED_MAX = 999;

std::string numbered(const std::string& path, unsigned number) {
    return path + "." + std::to_string(number);
}

FileError cannot(const std::string& what, const std::string& path, int error) {
    return FileError("cannot " + what + " " + printable(path) + ": " + systemError(error));
}

bool renameIfThere(const std::string& from, const std::string& to) {
    return std::rename(from.c_str(), to.c_str()) == 0 || errno == ENOENT;
}

bool exists(const std::string& path) {
    struct stat status {};
    return lstat(path.c_str(), &status) == 0 || errno != ENOENT;
}

std::string folderOf(const std::string& path) {
    const std::size_t slash = path.rfind('/');
    if (slash == std::string::npos) return ".";
    return slash == 0 ? "/" : path.substr(0, slash);
}

} // namespace

Descriptor lockFile(const std::string& path) {
    const std::string name = path + ".lock";
    Descriptor lock(open(name.c_str(), O_RDWR | O_CREAT | O_CLOEXEC | O_NOFOLLOW, LOCK_MODE));
    if (!lock) throw cannot("open", name, errno);
    while (flock(lock.get(), LOCK_EX | LOCK_NB) != 0) {
        if (errno == EWOULDBLOCK)
            throw FileError("another evmd writes " + printable(path) + "; stop it first");
        if (errno != EINTR) throw cannot("lock", name, errno);
    }
    return lock;
}

Descriptor openFile(const std::string& path) {
    // Without blocking: what is no regular file may have nobody at its other end.
    Descriptor file(
        open(path.c_str(), O_RDWR | O_CREAT | O_CLOEXEC | O_NOFOLLOW | O_NONBLOCK, FILE_MODE));
    if (!file) throw cannot("open", path, errno);
    struct stat status {};
    if (fstat(file.get(), &status) != 0) throw cannot("open", path, errno);
    if (!S_ISREG(status.st_mode)) throw FileError(printable(path) + " is no regular file");
    if (!syncFolder(path)) throw cannot("write the folder of", path, errno);
    return file;
}

bool isAtPath(const Descriptor& file, const std::string& path) {
    struct stat ours {};
    struct stat there {};
    return fstat(file.get(), &ours) == 0 && lstat(path.c_str(), &there) == 0 &&
           ours.st_dev == there.st_dev && ours.st_ino == there.st_ino;
}

Descriptor beginNext(const std::string& path, unsigned kept) {
    const std::string fresh = path + ".new";
    Descriptor file(
        open(fresh.c_str(), O_RDWR | O_CREAT | O_TRUNC | O_CLOEXEC | O_NOFOLLOW, FILE_MODE));
    if (!file) return {};
    for (unsigned number = kept; number > 1; --number)
        if (!renameIfThere(numbered(path, number - 1), numbered(path, number))) return {};
    if (!renameIfThere(path, numbered(path, 1))) return {};
    if (std::rename(fresh.c_str(), path.c_str()) != 0 || !syncFolder(path)) return {};
    return file;
}

std::string putAside(const std::string& path) {
    for (unsigned number = 1; number <= DAMAGED_MAX; ++number) {
        std::string name = numbered(path + ".damaged", number);
        if (exists(name)) continue;
        if (std::rename(path.c_str(), name.c_str()) != 0) throw cannot("rename", path, errno);
        return name;
    }
    throw FileError("too many files " + printable(path) + ".damaged.N; remove some");
}

bool syncFolder(const std::string& path) {
    const Descriptor folder(open(folderOf(path).c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
    return folder && fsync(folder.get()) == 0;
}

} // namespace evmd
