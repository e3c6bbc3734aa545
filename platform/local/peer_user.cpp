#include "platform/local/peer_user.h"

#include "platform/include/node_config.h"
#include "platform/local/user_database.h"

#include <sys/stat.h>
#include <unistd.h>

namespace platform {

namespace {

bool owns_runtime_dir(uid_t uid) {
    const node_config* const config = node_config_get();
    struct stat status {};
    return config != nullptr && stat(config->runtime_dir.c_str(), &status) == 0 &&
           S_ISDIR(status.st_mode) && status.st_uid == uid;
}

} // namespace

std::optional<ucred> peer_credentials(int fd) {
    int domain = 0;
    socklen_t length = sizeof domain;
    if (getsockopt(fd, SOL_SOCKET, SO_DOMAIN, &domain, &length) != 0 || domain != AF_UNIX)
        return std::nullopt;
    ucred credentials{};
    length = sizeof credentials;
    if (getsockopt(fd, SOL_SOCKET, SO_PEERCRED, &credentials, &length) != 0) return std::nullopt;
    return credentials;
}

std::optional<uid_t> peer_user(int fd) {
    const std::optional<ucred> credentials = peer_credentials(fd);
    return credentials ? std::optional(credentials->uid) : std::nullopt;
}

std::string user_text(uid_t uid) {
    UserEntry user;
    return find_user(uid, user, nullptr) == SCLS_OK ? user.name : std::to_string(uid);
}

bool is_trusted_peer(int fd) {
    const std::optional<uid_t> uid = peer_user(fd);
    return uid && (*uid == 0 || *uid == geteuid() || owns_runtime_dir(*uid));
}

} // namespace platform
