#pragma once

#include "evm/libevm/event_handle.h"
#include "evm/libevm/item_package.h"

/// Putting items into records. Everything is checked and every byte allocated before the first one
/// changes, so that a failure leaves the event as it was.

namespace evm {

/// Creates an event of the entries; `*event` is null on failure.
EvmStatus_t createEvent(const ItemPackage& package, EvmEvent_t* event);

/// Sets, adds or replaces the entries; replaced blocks leave no gap. The checksum is cleared.
EvmStatus_t setItems(EvmEventHandle_s& event, const ItemPackage& package);

} // namespace evm
