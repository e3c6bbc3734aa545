#pragma once

struct nipcCtx;

namespace evm {

/// The process's one NIPC context, in the global context: the first user starts the transport, the
/// last one stops it. Null when it cannot be started; else given back with _evmNipcRelease.
nipcCtx* _evmNipcAcquire();
void _evmNipcRelease();

} // namespace evm
