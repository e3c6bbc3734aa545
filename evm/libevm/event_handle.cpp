#include "evm/libevm/event_handle.h"

#include "evm/libevm/live_handles.h"

#include <atomic>

namespace evm {

bool isLive(EvmEvent_t event) noexcept {
    return event != nullptr && isInLiveSet(event) && event->magic == EVENT_MAGIC;
}

EvmStatus_t makeEvent(HeapPtr<std::byte> record, EvmEvent_t* event) noexcept {
    static constinit std::atomic<std::uint64_t> lastIdentity{0};
    *event = nullptr;
    HeapPtr<EvmEventHandle_s> handle = heapArray<EvmEventHandle_s>(1);
    if (handle == nullptr || !addLive(handle.get())) return EvmERROR_NO_MEMORY;
    handle->magic = EVENT_MAGIC;
    handle->head_p = record.release();
    handle->identity = 1 + lastIdentity.fetch_add(1, std::memory_order_relaxed);
    *event = handle.release();
    return EvmERROR_NONE;
}

} // namespace evm

EvmStatus_t EvmEventDestroy(EvmEvent_t event) {
    if (event == nullptr) return EvmERROR_INVALID_ARGUMENT;
    if (!evm::removeLive(event)) return EvmERROR_INVALID_VALUE;
    const evm::HeapPtr<EvmEventHandle_s> handle(event);
    const evm::HeapPtr<std::byte> record(event->head_p);
    evm::store<std::uint16_t>(evm::recordOf(*event), offsetof(EvmEventHead_t, control.ident), 0);
    event->magic = 0;
    return EvmERROR_NONE;
}

EvmStatus_t EvmEventDup(EvmEvent_t* copy, EvmEvent_t event) {
    if (copy == nullptr) return EvmERROR_INVALID_ARGUMENT;
    *copy = nullptr;
    if (!evm::isLive(event)) return EvmERROR_INVALID_ARGUMENT;
    const evm::Bytes record = evm::recordOf(*event);
    auto bytes = evm::heapArray<std::byte>(record.size());
    if (bytes == nullptr) return EvmERROR_NO_MEMORY;
    std::memcpy(bytes.get(), record.data(), record.size());
    return evm::makeEvent(std::move(bytes), copy);
}
