#pragma once

#include "platform/include/clss.h"
#include "platform/include/memory_manager.h"
#include "platform/include/threads.h"

/// Locks that are exclusive across the whole cluster, and the process's context of the cluster
/// synchronization service. A name is a text of at most CLSSLS_NAME_MAX bytes. The first argument
/// of the lock operations is the caller's own number and goes nowhere. Using a lock before
/// tavclsinitctx has succeeded is a programming error and ends the process. Thread-safe.
namespace TAV {

extern clsssctx* gtavclsctx; ///< null until tavclsinitctx succeeds; written by it only
extern int tavcls_tracing;   ///< whether the service's trace lines are logged; at start they are
extern skgcb tavclstrc_cb;

/// Creates the context: 0, or the service's status. Further calls change nothing. Thread-safe.
int tavclsinitctx();
/// The context, null when there is none.
clsssctx* tavclsgetctx();
/// Does nothing.
int tavclsdelctx(sltstid thread);

/// Waits for the lock. Returns 0, or not at all: when the service goes away the process ends with
/// status 0, after any other failure with status 1.
unsigned int tavclslock(unsigned int, unsigned char* name);
/// 0 granted, 1 not granted.
unsigned int tavclstrylock(unsigned int, unsigned char* name);
/// 0 the lock is free; 1 it is held, also by this process; -1 it was free and could not be released
/// after the test; otherwise the service's error.
unsigned int tavclsislock(unsigned int, unsigned char* name);
/// 0, or the service's error.
unsigned int tavclsunlock(unsigned char* name);

/// What the service is given: a trace callback that logs a line with the local time in front, and
/// zeroed memory of a descriptor's top-level heap (null when there is none).
int tavclstrc(skgcbctx* callback, const char* format, ...) __attribute__((format(printf, 2, 3)));
void* tavlock_malloc(lslmc* memory, unsigned long size);
void tavlock_mfree(lslmc* memory, void* block);

} // namespace TAV
