#pragma once

#include "evm/libevm/evm.h"
#include "evm/libevm/heap.h"
#include "evm/libevm/record.h"
#include "platform/include/nipc.h"

#include <atomic>
#include <memory>

/// The adapter over NIPC through which every message of the library travels.

namespace evm {

struct DestroyEndpoint {
    void operator()(nipcEndp* endpoint) const { nipcDestroyF(endpoint); }
};
using EndpointPtr = std::unique_ptr<nipcEndp, DestroyEndpoint>;

} // namespace evm

/// What an EvmCon_t points at. A disconnected end stays until it is replaced or the adapter dies:
/// another thread may be blocked on it.
struct EvmCon_s {
    EvmCon_s() = default;
    ~EvmCon_s();
    EvmCon_s(const EvmCon_s&) = delete;
    EvmCon_s& operator=(const EvmCon_s&) = delete;

    nipcCtx* ctx = nullptr;
    evm::EndpointPtr endpC; ///< connected
    evm::EndpointPtr endpS; ///< listening
    std::atomic<bool> connected{false};
    std::atomic<bool> listening{false};
};

namespace evm {

inline constexpr int NO_LIMIT = -1;

bool isLive(EvmCon_t con) noexcept;

/// Like EvmConSend, but EvmERROR_NO_MEMORY when the system is out of memory.
EvmStatus_t _evmConSend(EvmCon_s& con, std::span<std::byte> message);

/// Waits for a message and shows it where it lies; it stays until _evmConTake. Statuses as of
/// EvmConReceive; EvmERROR_WOULDBLOCK when nothing came in time. A wake-up meanwhile is left for
/// whoever waits next.
EvmStatus_t _evmConPeek(EvmCon_s& con, int timeout_ms, Bytes& message);
void _evmConTake(EvmCon_s& con, Bytes message);

/// Like EvmEventRead and EvmTemplateEventRead, waiting for each message at most so long.
EvmStatus_t _evmEventReceive(EvmCon_s& con, int timeout_ms, EvmEvent_t* event);
EvmStatus_t _evmTemplateReceive(EvmCon_s& con, int timeout_ms, EvmEvent_t* event);

} // namespace evm
