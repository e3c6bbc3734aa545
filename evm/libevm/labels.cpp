#include "evm/libevm/labels.h"

#include "evm/libevm/global_context.h"
#include "evm/libevm/heap.h"
#include "evm/libevm/messages.h"

#include <array>

namespace evm {

namespace {

constexpr std::array DEFAULTS = {
    "",
    "True",
    "False",
    "(no name)",
    "Unformatted event",
    "Unknown item id",
    "Unknown variable type",
    "Msg-id",
    "Failed to get item list",
    "Failed to get item",
    "Failed to get variable list",
    "bytes",
    "OPAQUE VALUE",
    "None",
    "times",
};
static_assert(DEFAULTS.size() == LABEL_TIMES + 1 && DEFAULTS.size() <= LABEL_COUNT);

const char* lookUp(LabelEntry& entry) {
    char text[MESSAGE_SIZE];
    if (!_evmMsgFind(MESSAGE_SET_LABELS, entry.msgId, text, sizeof text)) return entry.defaultText;
    const char* const kept = heapString(text).release();
    return kept != nullptr ? kept : entry.defaultText;
}

} // namespace

const char* labelDefault(unsigned number) {
    return number < DEFAULTS.size() ? DEFAULTS[number] : "";
}

const char* label(unsigned number) {
    if (number == 0 || number >= DEFAULTS.size()) return "";
    evmglblctx* const context = _evmGlobalContext();
    if (context == nullptr) return DEFAULTS[number];
    LabelEntry& entry = context->defs[number];
    if (const char* const text = entry.text.load(std::memory_order_acquire); text != nullptr)
        return text;
    const GlobalContextLock lock;
    if (entry.text.load(std::memory_order_relaxed) == nullptr)
        entry.text.store(lookUp(entry), std::memory_order_release);
    return entry.text.load(std::memory_order_relaxed);
}

} // namespace evm
