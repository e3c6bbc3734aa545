#pragma once

#include "evm/libevm/evm.h"
#include "evm/libevm/heap.h"
#include "evm/libevm/record.h"

#include <cstddef>
#include <cstdint>
#include <memory>
#include <span>

/// What an EvmEvent_t points at.
struct EvmEventHandle_s {
    std::int32_t magic;           ///< EVENT_MAGIC while the handle is live, then 0
    std::byte* head_p;            ///< the record: one block of exactly `control.size` bytes
    EvmEventHandle_s* next_event; ///< for chains of handles; null in a fresh one
    std::uint64_t identity;       ///< of no other handle of this process, ever
};

namespace evm {

inline constexpr auto EVENT_MAGIC = static_cast<std::int32_t>(0xBEADBEEFU);

/// Whether this is an event that may be touched.
bool isLive(EvmEvent_t event) noexcept;

inline std::span<std::byte> recordOf(EvmEventHandle_s& event) {
    const Bytes header(event.head_p, HEADER_SIZE);
    return {event.head_p, controlSize(header)};
}

/// Puts a sound record into a new live handle; `*event` is null on failure.
EvmStatus_t makeEvent(HeapPtr<std::byte> record, EvmEvent_t* event) noexcept;

} // namespace evm
