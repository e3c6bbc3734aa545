#pragma once

#include <cstddef>

/// Where the node's event daemon listens. For the event library, the daemon and its tools.

namespace evm {

/// An address as connections take it is shorter, NUL included.
inline constexpr std::size_t DAEMON_ADDRESS_SIZE = 256;

/// The default address, without "clsc://": of the cluster that the environment variable
/// QUORD_CLUSTERNAME names on this host, else the same on every node. False, and an empty buffer,
/// when it does not fit or the host has no name.
bool _evmDefaultAddress(char* buffer, std::size_t size);

} // namespace evm
