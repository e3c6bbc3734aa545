#pragma once

#include "evm/libevm/evm.h"

#include <array>
#include <cstddef>
#include <cstdint>
#include <string_view>

namespace evm {

enum class Storage : std::uint8_t {
    NOWHERE,
    FLAG,        ///< a bit of the header's flags
    FIELD,       ///< a field of the header
    BODY_STRING, ///< a block with a string
    BODY_NUMBER, ///< a block with a number
    VARIABLES,   ///< any number of blocks
};

/// What is known about a data item.
struct ItemRow {
    EvmItemId_t id;
    const char* name;
    const char* description;
    bool formatted; ///< may be shown by a reference
    Storage storage;
    std::uint8_t width;    ///< bytes of a number
    std::uint8_t position; ///< of a flag: its bit; of a field: its offset
};

/// All items, at index id - 1.
extern const std::array<ItemRow, EvmITEM_MAX> ItemInfo;

/// Null for an id outside 1 to 23.
const ItemRow* findItem(EvmItemId_t id);
/// By name, whatever the case of its ASCII letters; null when there is none.
const ItemRow* findItem(std::string_view name);

} // namespace evm
