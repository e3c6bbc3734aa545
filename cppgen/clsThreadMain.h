#pragma once

#include "platform/include/threads.h"

#include <string>

/// Starting threads under an exception guard, and ending the process in an orderly way.
namespace CLS_Threading {

/// What a started thread runs; owned by the thread.
struct CppStartInfo {
    void (*function)(void*);
    void* argument;
};

class CLSthreadMain {
public:
    /// Starts `fn(arg)` detached. A stack size of 0 is the one set with setStackSize. Returns the
    /// spawn's result, 0 on success. A cls::Exception that leaves `fn` is logged and ends the
    /// process with a failed assertion.
    static int StartDetached(void (*fn)(void*), void* arg, unsigned stackSize = 0);
    static int startThread(void (*fn)(void*), void* arg, sltstid* id, sltsthnd* handle,
                           unsigned stackSize, int mode);
    /// The stack size of threads started without one; 0 is the thread services' default.
    static void setStackSize(unsigned size);
    static unsigned getStackSize();

    /// Logs (unless silent), flushes the diagnostics and ends the process with `code`; no
    /// destructor runs. Concurrent calls end the process once.
    [[noreturn]] static void processExit(int code, const std::string& text, bool silent);

private:
    static void cppStart(void* info);
};

} // namespace CLS_Threading
