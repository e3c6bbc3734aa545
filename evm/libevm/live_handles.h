#pragma once

/// The set of live handles. A handle from outside is looked up here before it is touched, so that a
/// dead one is refused without reading freed memory.
///
/// Sharded by address: threads that work on events of their own hardly ever meet in a lock. Works
/// before main and while the process ends.

namespace evm {

/// False when there is no memory.
bool addLive(const void* handle) noexcept;
bool isInLiveSet(const void* handle) noexcept;
/// False when the handle was not live; of several callers only one is told true.
bool removeLive(const void* handle) noexcept;

} // namespace evm
