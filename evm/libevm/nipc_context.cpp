#include "evm/libevm/nipc_context.h"

#include "evm/libevm/global_context.h"
#include "platform/include/nipc.h"
#include "platform/include/process.h"
#include "platform/include/threads.h"

#include <utility>

namespace evm {

namespace {

constinit slts_sm countMutex;

class CountLock {
public:
    CountLock() { sltsima(sltsini(), &countMutex); }
    ~CountLock() { sltsimr(sltsini(), &countMutex); }
    CountLock(const CountLock&) = delete;
    CountLock& operator=(const CountLock&) = delete;
};

nipcCtx* start() {
    clshinit();
    if (clskInit() != 0) return nullptr;
    nipcCtx* made = nullptr;
    if (nipcInitializeF() == NIPC_OK) {
        if (nipcContextF(&made) == NIPC_OK) return made;
        nipcShutdownF();
    }
    clskTerm();
    return nullptr;
}

} // namespace

nipcCtx* _evmNipcAcquire() {
    evmglblctx* const context = _evmGlobalContext();
    if (context == nullptr) return nullptr;
    const CountLock lock;
    if (context->ctxcount == 0) context->ctxnipc = start();
    if (context->ctxnipc != nullptr) ++context->ctxcount;
    return context->ctxnipc;
}

void _evmNipcRelease() {
    evmglblctx* const context = _evmGlobalContext();
    const CountLock lock;
    if (--context->ctxcount != 0) return;
    nipcDestroyF(std::exchange(context->ctxnipc, nullptr));
    nipcShutdownF();
    clskTerm();
}

} // namespace evm
