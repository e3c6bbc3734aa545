#pragma once

#include "evm/libevm/evm.h"

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace evmpost {

/// A data item and its value.
struct ItemSetting {
    EvmItemId_t id;
    std::uint64_t number = 0;
    bool isText = false;
    std::string text; ///< without NUL
};

/// A variable and its value.
struct VariableSetting {
    std::string name;
    EvmVarType_t type;
    EvmVarValue_t value{}; ///< except of a string and of opaque data
    std::string bytes;     ///< of a string, without NUL, and of opaque data
};

/// "ITEM=VALUE": any data item but the name. Booleans are "true" or "false", addresses numbers with
/// dots, everything else a number or a text. None when it is no such thing or out of range.
std::optional<ItemSetting> parseItem(std::string_view text);

/// "NAME[:TYPE]=VALUE". The type is named whatever its case; without one it is a string. Opaque
/// data is written as pairs of hexadecimal digits.
std::optional<VariableSetting> parseVariable(std::string_view text);

/// Sets it on an event. EvmERROR_NONE or what the library says.
EvmStatus_t apply(EvmEvent_t event, const ItemSetting& setting);
EvmStatus_t apply(EvmEvent_t event, const VariableSetting& setting);

} // namespace evmpost
