#include "platform/include/slots.h"

#include "platform/include/threads.h"
#include "platform/local/format_parts.h"

#include <array>
#include <atomic>

namespace {

constinit std::array<std::atomic<void*>, CLSG_SLOTS> slots{};
constinit std::array<cls_thrIMx, CLSG_SLOTS> slotLocks{};

/// The identity services need no state: their context is only told apart from null.
constinit char identityContext = 0;

/// What an empty slot reads as.
void* defaultContent(unsigned slot) {
    if (slot == CLSG_IDENTITY) return &identityContext;
    if (slot == CLSG_LSF) return default_format_context();
    return nullptr;
}

} // namespace

void* clsgGet(unsigned slot) {
    if (slot >= CLSG_SLOTS) return nullptr;
    void* const content = slots[slot].load(std::memory_order_acquire);
    return content != nullptr ? content : defaultContent(slot);
}

void clsgSet(unsigned slot, void* value) {
    if (slot < CLSG_SLOTS) slots[slot].store(value, std::memory_order_release);
}

void clsgLock(unsigned slot) {
    if (slot < CLSG_SLOTS) cls_thrIMxlock(&slotLocks[slot]);
}

void clsgUnlock(unsigned slot) {
    if (slot < CLSG_SLOTS) cls_thrIMxunlock(&slotLocks[slot]);
}
