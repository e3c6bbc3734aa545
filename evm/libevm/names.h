#pragma once

#include "evm/libevm/evm.h"

#include <string_view>

namespace evm {

/// Letters, digits and "_" of ASCII, whatever the locale.
constexpr bool isNameCharacter(char c) {
    return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9') || c == '_';
}

/// Checks an event name: components of name characters, separated by single dots; with `wildcards`
/// a component may be "*" or "?" instead. The empty name passes with 0 components. `components` may
/// be null. Fails with EvmERROR_INVALID_ARGUMENT.
EvmStatus_t _evmNameCheck(std::string_view name, bool wildcards, EvmCount_t* components);

/// Checks a variable name: one or more name characters. Fails with EvmERROR_INVALID_ARGUMENT.
EvmStatus_t _evmVarNameCheck(std::string_view name);

} // namespace evm
