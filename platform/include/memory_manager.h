#pragma once

#include "platform/include/node_config.h"

#include <cstddef>

/// The memory manager behind the callbacks that services are given: heaps of the C library.

struct lmmheap {
    lmmheap* top; ///< its top-level heap; null when it has none
};
/// Describes the memory that a service works with.
struct lslmc {
    lmmheap* heap;
};

/// Starts the manager (idempotent) and returns its context.
lpmctx* lpminit(unsigned zero);
/// The top-level heap of a heap, null for none.
lmmheap* lmmtophp(lslmc* memory, lmmheap* heap);
/// A zeroed block, or null.
void* lmmcalloc(lslmc* memory, lmmheap* heap, std::size_t size);
void lmmfree(lslmc* memory, lmmheap* heap, void* block);
