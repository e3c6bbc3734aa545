#include "cppgen/clsThreadMain.h"

#include "cppgen/clsException.h"
#include "cppgen/clsLog.h"
#include "platform/include/diagnostics.h"
#include "platform/include/process.h"

#include <errno.h>

#include <atomic>
#include <cstdio>
#include <exception>
#include <memory>
#include <sstream>

namespace CLS_Threading {

namespace {

/// How long the diagnostics may take to reach their file when the process ends.
constexpr unsigned EXIT_FLUSH_MS = 10000;

constinit std::atomic<unsigned> s_tStackSize{0};
constinit cls_thrIMx s_exitMux;
constinit bool s_exiting = false; ///< under s_exitMux

void logLine(const std::string& text) {
    std::ostringstream line(text);
    CLS_Debug::s_dbug().log(line, CLS_Debug::DETAIL_DEFAULT);
}

void logEnd(int code, const std::string& text) {
    if (code == 0) {
        logLine(' ' + text);
    } else {
        std::ostringstream line(' ' + text);
        CLS_Debug::s_dbug().error(line, CLS_Debug::DETAIL_PANIC);
        clsdserr("%s\n", text.c_str());
    }
    logLine(" Done.\n");
}

void logUncaught(const cls::Exception& error) {
    std::ostringstream lead(" Exception caught at cppStart ");
    CLS_Debug::dbError(lead);
    std::ostringstream text(' ' + error.what());
    CLS_Debug::dbError(text);
}

/// What a failed standard assertion does, also in builds without assertions.
[[noreturn]] void failStart() {
    std::fprintf(stderr, "%s: %s:%d: %s: Assertion `%s' failed.\n", program_invocation_short_name,
                 "clsThreadMain", 105, "static void CLS_Threading::CLSthreadMain::cppStart(void *)",
                 "0");
    slzabort();
}

} // namespace

int CLSthreadMain::StartDetached(void (*fn)(void*), void* arg, unsigned stackSize) {
    const unsigned size = stackSize != 0 ? stackSize : getStackSize();
    return startThread(fn, arg, nullptr, nullptr, size, CLS_THR_DETACHED);
}

int CLSthreadMain::startThread(void (*fn)(void*), void* arg, sltstid* id, sltsthnd* handle,
                               unsigned stackSize, int mode) {
    if (fn == nullptr) return EINVAL;
    auto info = std::make_unique<CppStartInfo>(CppStartInfo{fn, arg});
    const int failed = ext_cls_thrSpawn(cppStart, info.get(), id, handle, stackSize, mode);
    if (failed == 0) static_cast<void>(info.release());
    return failed;
}

void CLSthreadMain::setStackSize(unsigned size) {
    s_tStackSize = size;
}

unsigned CLSthreadMain::getStackSize() {
    return s_tStackSize;
}

void CLSthreadMain::cppStart(void* info) {
    const std::unique_ptr<CppStartInfo> start(static_cast<CppStartInfo*>(info));
    try {
        start->function(start->argument);
    } catch (const cls::Exception& error) {
        logUncaught(error);
        failStart();
    }
}

void CLSthreadMain::processExit(int code, const std::string& text, bool silent) {
    const StaticLock lock(s_exitMux);
    // What is logged here may fail in its turn and come back.
    const bool again = s_exiting;
    s_exiting = true;
    try {
        if (!silent && !again) logEnd(code, text);
    } catch (const std::exception&) {
        // No memory for the last words: the end itself must not depend on them.
        clsdserr("%s\n", text.c_str());
    }
    if (!again) clsdfflush_to(CLSD_FLUSH_ALL, EXIT_FLUSH_MS);
    scls_exit_fast(code, 0);
}

} // namespace CLS_Threading
