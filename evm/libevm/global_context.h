#pragma once

#include "evm/libevm/evm.h"

#include <atomic>
#include <cstddef>

/// What the library keeps for the whole process, in the process-global slot CLSG_EVM.

struct nipcCtx;

namespace evm {

inline constexpr std::size_t LABEL_COUNT = 16;
/// Host and user names of up to 64 characters; an empty one is not known yet.
inline constexpr std::size_t CACHED_NAME_SIZE = 65;

struct LabelEntry {
    EvmI18NMsgId_t msgId;
    std::atomic<const char*> text; ///< null until it was looked up; lives as long as the process
    const char* defaultText;
};

/// Labels are read without a lock. Everything is written, and the names are read, under
/// GlobalContextLock.
struct evmglblctx {
    nipcCtx* ctxnipc;
    int ctxcount; ///< users of ctxnipc, which has a lock of its own
    char hostname[CACHED_NAME_SIZE];
    char username[CACHED_NAME_SIZE];
    LabelEntry defs[LABEL_COUNT]; ///< at the label's number
};

/// Created on first use; null when there is no memory for it.
evmglblctx* _evmGlobalContext();

/// Locks the process-global slot for a scope.
class GlobalContextLock {
public:
    GlobalContextLock();
    ~GlobalContextLock();
    GlobalContextLock(const GlobalContextLock&) = delete;
    GlobalContextLock& operator=(const GlobalContextLock&) = delete;
};

} // namespace evm
