#include "evm/libevm/names.h"

#include <algorithm>

namespace evm {

namespace {

bool isName(std::string_view text) {
    return !text.empty() && std::ranges::all_of(text, isNameCharacter);
}

bool isWildcard(std::string_view text) {
    return text == "*" || text == "?";
}

} // namespace

EvmStatus_t _evmNameCheck(std::string_view name, bool wildcards, EvmCount_t* components) {
    EvmCount_t count = 0;
    for (bool more = !name.empty(); more; ++count) {
        const std::size_t dot = name.find('.');
        const std::string_view component = name.substr(0, dot);
        if (!isName(component) && !(wildcards && isWildcard(component)))
            return EvmERROR_INVALID_ARGUMENT;
        more = dot != std::string_view::npos;
        if (more) name.remove_prefix(dot + 1);
    }
    if (components != nullptr) *components = count;
    return EvmERROR_NONE;
}

EvmStatus_t _evmVarNameCheck(std::string_view name) {
    return isName(name) ? EvmERROR_NONE : EvmERROR_INVALID_ARGUMENT;
}

} // namespace evm
