#include "platform/local/clss_context.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>

namespace platform {
namespace {

constexpr mode_t FOLDER_MODE = 0755; ///< everybody may see who is up, only the owner changes it

struct flock byte_of(std::int64_t offset, ByteLock kind) {
    struct flock range {};
    range.l_type = static_cast<short>(kind == ByteLock::read ? F_RDLCK : F_WRLCK);
    range.l_whence = SEEK_SET;
    range.l_start = offset;
    range.l_len = 1;
    return range;
}

} // namespace

bool make_cluster_dir(const std::string& path) {
    // The mode is set apart: a process may run under any umask.
    if (mkdir(path.c_str(), FOLDER_MODE) == 0) return chmod(path.c_str(), FOLDER_MODE) == 0;
    return errno == EEXIST;
}

bool is_service_down(const std::string& cluster_dir) {
    return access((cluster_dir + "/" + CLSS_DOWN_FILE).c_str(), F_OK) == 0;
}

bool lock_byte(int fd, std::int64_t offset, ByteLock kind, bool wait) {
    struct flock range = byte_of(offset, kind);
    while (fcntl(fd, wait ? F_OFD_SETLKW : F_OFD_SETLK, &range) != 0)
        if (errno != EINTR) return false;
    return true;
}

bool unlock_byte(int fd, std::int64_t offset) {
    struct flock range = byte_of(offset, ByteLock::read);
    range.l_type = F_UNLCK;
    return fcntl(fd, F_OFD_SETLK, &range) == 0;
}

bool is_byte_locked(int fd, std::int64_t offset, ByteLock kind) {
    struct flock range = byte_of(offset, kind);
    return fcntl(fd, F_OFD_GETLK, &range) == 0 && range.l_type != F_UNLCK;
}

} // namespace platform
