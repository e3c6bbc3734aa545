#include "evm/libevm/global_context.h"

#include "evm/libevm/heap.h"
#include "evm/libevm/labels.h"
#include "platform/include/slots.h"

#include <memory>

namespace evm {

namespace {

evmglblctx* current() {
    return static_cast<evmglblctx*>(clsgGet(CLSG_EVM));
}

evmglblctx* create() {
    void* const memory = heapAllocate(sizeof(evmglblctx));
    if (memory == nullptr) return nullptr;
    evmglblctx* const made = std::construct_at(static_cast<evmglblctx*>(memory));
    for (unsigned number = 0; number < LABEL_COUNT; ++number) {
        made->defs[number].msgId = static_cast<EvmI18NMsgId_t>(number);
        made->defs[number].defaultText = labelDefault(number);
    }
    return made;
}

} // namespace

GlobalContextLock::GlobalContextLock() {
    clsgLock(CLSG_EVM);
}

GlobalContextLock::~GlobalContextLock() {
    clsgUnlock(CLSG_EVM);
}

evmglblctx* _evmGlobalContext() {
    if (evmglblctx* const made = current(); made != nullptr) return made;
    const GlobalContextLock lock;
    if (current() == nullptr) clsgSet(CLSG_EVM, create());
    return current();
}

} // namespace evm
