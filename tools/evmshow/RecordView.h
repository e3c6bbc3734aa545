#pragma once

#include "evm/libevm/record.h"

/// Reading what filters ask for straight from a record's bytes, whichever version it has.

namespace evmshow {

inline bool isOldVersion(evm::Bytes record) {
    return evm::load<std::uint32_t>(record, offsetof(EvmEventHead_t, ext_item_id)) !=
           EvmITEM_HDR_EXT_SIZE;
}

/// The event's name where it lies; empty when it has none.
inline std::string_view nameOf(evm::Bytes record) {
    if (!evm::itemPresent(record, EvmITEM_NAME)) return {};
    evm::BlockWalk walk(record, isOldVersion(record) ? evm::OLD_HEADER_SIZE : evm::HEADER_SIZE);
    while (const auto block = walk.next())
        if (block->ident == EvmITEM_NAME) return block->text();
    return {};
}

inline EvmPriority_t priorityOf(evm::Bytes record) {
    return evm::load<EvmPriority_t>(record, offsetof(EvmEventHead_t, priority));
}

inline EvmTimestamp_t timeOf(evm::Bytes record) {
    return evm::load<EvmTimestamp_t>(record, offsetof(EvmEventHead_t, time));
}

} // namespace evmshow
