#pragma once

#include "platform/include/clsc.h"

#include <sys/socket.h>

#include <string>
#include <string_view>
#include <vector>

namespace platform {

/// A socket address of any family.
struct SocketAddress {
    sockaddr_storage storage{};
    socklen_t length = 0;

    [[nodiscard]] const sockaddr* get() const {
        return static_cast<const sockaddr*>(static_cast<const void*>(&storage));
    }
    [[nodiscard]] int family() const { return storage.ss_family; }
};

/// CLSC_FATAL when `error` says that the process or the machine ran out of something, else
/// `otherwise`.
int clsc_result_of(int error, int otherwise);

/// Where an ipc endpoint's socket lies. CLSC_BADADDR when the path does not fit a socket address.
int ipc_socket_path(std::string_view runtime_dir, std::string_view key, std::string& path);

/// The address of a path that fits.
SocketAddress unix_address(const std::string& path);

/// The socket addresses behind an address, in the order to try them: CLSC_OK and at least one,
/// CLSC_BADADDR, CLSC_REFUSED (an unknown host, no usable configuration) or CLSC_FATAL. Looking up
/// a host by name may block as long as the system's resolver does. `passive` is for listening.
int resolve(const clsc_address& address, bool passive, std::vector<SocketAddress>& result);

/// A decoded connect string of a C text; CLSC_BADADDR when it is null or none.
int decode_address(const unsigned char* text, clsc_address& address);

/// The connect string of a socket's own end or of its peer's; empty when it has none.
std::string connect_string(int fd, bool own);

} // namespace platform
