#include "tav/cluster/tavcls.h"

#include "cppgen/clsLog.h"
#include "cppgen/clsThreadMain.h"
#include "platform/include/clock.h"
#include "platform/include/diagnostics.h"
#include "tav/cluster/moduleLog.h"

#include <cstdarg>
#include <cstdio>

namespace TAV {

constinit clsssctx* gtavclsctx = nullptr;
constinit int tavcls_tracing = 1;
constinit skgcb tavclstrc_cb{tavclstrc};

namespace {

constexpr std::uint16_t VERSION[] = {2, 1};
constexpr std::size_t TRACE_LINE_SIZE = 512;
constexpr const char* EXIT_TEXT = "VORND Exiting.";

constinit cls_thrIMx s_initMutex; ///< creating and looking up the context

/// The context, which every lock operation needs.
clsssctx* context() {
    clsssctx* const ctx = tavclsgetctx();
    CLS_Debug::clsAssert(ctx != nullptr, "gtavclsctx != NULL", "tavcls", __builtin_LINE());
    return ctx;
}

bool goesAway(int status) {
    return status == CLSS_CLOSING || status == CLSS_CLOSED || status == CLSS_GONE;
}

/// The service's answer to a try, which both operations that try log in the same way.
int tryOnce(const unsigned char* name) {
    clssls_handle handle{};
    const int status = clsslstrylock(&handle, context(), name, CLSSLS_TRY);
    logOut(lockLog(), " Try lock for ", name);
    return status;
}

} // namespace

int tavclsinitctx() {
    const StaticLock lock(s_initMutex);
    if (gtavclsctx != nullptr) return 0;
    const clsss_parameters parameters{lpminit(0),        tavlock_malloc, tavlock_mfree,  0, 0,
                                      CLSSS_CLIENT_KIND, &tavclstrc_cb,  &tavcls_tracing};
    char error[CLSSS_ERROR_SIZE];
    const int status = clsssinit(error, &gtavclsctx, VERSION, &parameters, CLSSS_MODE_LOCKS);
    if (status == 0) return 0;
    logLine(lockLog(), " QUORD is not ready. Received status ", status);
    gtavclsctx = nullptr;
    return status;
}

clsssctx* tavclsgetctx() {
    const StaticLock lock(s_initMutex);
    return gtavclsctx;
}

int tavclsdelctx(sltstid /*thread*/) {
    return 0;
}

unsigned int tavclslock(unsigned int /*number*/, unsigned char* name) {
    clssls_handle handle{};
    const int status = clsslsmutexlock(&handle, context(), name);
    if (status == 0) {
        logOut(lockLog(), " Got lock for ", name);
        return 0;
    }
    if (goesAway(status)) CLS_Threading::CLSthreadMain::processExit(0, EXIT_TEXT, false);
    logError(lockLog(), " tavclslock error code ", status);
    // The caller would go on as if it held the lock.
    CLS_Threading::CLSthreadMain::processExit(1, EXIT_TEXT, false);
}

unsigned int tavclstrylock(unsigned int /*number*/, unsigned char* name) {
    const int status = tryOnce(name);
    if (status == 0)
        logOut(lockLog(), " ...lock granted for ", name);
    else if (status == CLSS_BUSY)
        logError(lockLog(), " ...lock denied for ", name);
    else
        logError(lockLog(), " ...trylock failed with rc=", status);
    return status == 0 ? 0 : 1;
}

unsigned int tavclsislock(unsigned int /*number*/, unsigned char* name) {
    const int status = tryOnce(name);
    if (status == 0) {
        const unsigned int failed = tavclsunlock(name);
        if (failed == 0) return 0;
        logError(lockLog(), " In tavclsislock tavclsunlock error code ", failed, " for res ", name);
        return static_cast<unsigned int>(-1);
    }
    if (status == CLSS_BUSY)
        logOut(lockLog(), " Try lock failed (busy) ", name);
    else
        logError(lockLog(), " clsslstrylock error code ", status, " for res ", name);
    return static_cast<unsigned int>(status);
}

unsigned int tavclsunlock(unsigned char* name) {
    const int status = clsslsunlock(context(), name);
    logOut(lockLog(), " Release lock for ", name);
    if (status != 0) logError(lockLog(), " tavclsunlock error code ", status, " for res ", name);
    return static_cast<unsigned int>(status);
}

int tavclstrc(skgcbctx* callback, const char* format, ...) {
    if (callback == nullptr || callback->tracing == 0) return 0;
    slgtd_time now{};
    slgtd(&now);
    char line[TRACE_LINE_SIZE];
    const int lead =
        std::snprintf(line, sizeof line, "%04d-%02d-%02d %02d:%02d:%02d.%03d: ", now.year,
                      now.month, now.day, now.hour, now.minute, now.second, now.millisecond);
    std::va_list arguments;
    va_start(arguments, format);
    skgovprint(line + lead, sizeof line - static_cast<std::size_t>(lead), format, arguments);
    va_end(arguments);
    logLine(lockLog(), ' ', line);
    return 0;
}

void* tavlock_malloc(lslmc* memory, unsigned long size) {
    if (memory == nullptr || memory->heap == nullptr) return nullptr;
    lmmheap* const top = lmmtophp(memory, memory->heap);
    return top == nullptr ? nullptr : lmmcalloc(memory, top, size);
}

void tavlock_mfree(lslmc* memory, void* block) {
    if (memory == nullptr || memory->heap == nullptr || block == nullptr) return;
    lmmfree(memory, lmmtophp(memory, memory->heap), block);
}

} // namespace TAV
