#pragma once

#include "evm/libevm/item_package.h"
#include "evm/libevm/item_table.h"
#include "evm/libevm/record.h"

/// What an entry of an item list becomes in a record.

namespace evm {

/// Whether an item lies in blocks of the body.
inline bool hasBlock(const ItemRow& row) {
    return row.storage == Storage::BODY_STRING || row.storage == Storage::BODY_NUMBER ||
           row.storage == Storage::VARIABLES;
}

/// EvmERROR_INVALID_VALUE for a value that no record may hold.
EvmStatus_t checkEntry(const EvmItemTableEntry_t& entry);

/// The bytes that a checked entry takes in the body; 0 for an item of the header.
std::uint64_t entrySize(const EvmItemTableEntry_t& entry);

/// Writes the block of an entry into zero-filled bytes of its size.
void writeBlock(std::span<std::byte> block, const EvmItemTableEntry_t& entry);

/// Writes an item of the header; the record has a whole one.
void writeHeaderItem(std::span<std::byte> record, const EvmItemTableEntry_t& entry);

} // namespace evm
