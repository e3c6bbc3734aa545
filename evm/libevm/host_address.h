#pragma once

#include "evm/libevm/evm.h"

#include <string_view>

namespace evm {

inline constexpr const char* HOSTS_FILE = "/etc/hosts";

/// Four decimal numbers with dots, the first one in the lowest-addressed byte; false for anything
/// else.
bool _evmDottedAddress(std::string_view text, EvmIpAddress_t& address);

/// The address of the first line of a hosts file whose first name is this one; 0 when there is
/// none.
EvmIpAddress_t _evmHostAddress(const char* hostName, const char* hostsFile = HOSTS_FILE);

} // namespace evm
