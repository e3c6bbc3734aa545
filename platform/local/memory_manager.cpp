#include "platform/include/memory_manager.h"

#include <cstdlib>

lpmctx* lpminit(unsigned /*zero*/) {
    return lpmprinit();
}

lmmheap* lmmtophp(lslmc* /*memory*/, lmmheap* heap) {
    return heap == nullptr ? nullptr : heap->top;
}

void* lmmcalloc(lslmc* /*memory*/, lmmheap* /*heap*/, std::size_t size) {
    return std::calloc(1, size);
}

void lmmfree(lslmc* /*memory*/, lmmheap* /*heap*/, void* block) {
    std::free(block);
}
