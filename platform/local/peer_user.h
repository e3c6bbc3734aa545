#pragma once

#include <sys/socket.h>
#include <sys/types.h>

#include <optional>
#include <string>

namespace platform {

/// The process and user behind the other end of a Unix-domain socket as the kernel knows them;
/// nothing for other sockets.
std::optional<ucred> peer_credentials(int fd);

/// The user behind the other end of a Unix-domain socket as the kernel knows it; nothing for other
/// sockets. For a client that is the user who called listen.
std::optional<uid_t> peer_user(int fd);

/// The user's name, its number when it has none.
std::string user_text(uid_t uid);

/// Whether a peer may be talked to as the cluster's own: it runs as the superuser, as this
/// process's effective user, or as the owner of the runtime folder.
bool is_trusted_peer(int fd);

} // namespace platform
