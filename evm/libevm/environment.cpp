#include "evm/libevm/evm.h"
#include "evm/libevm/heap.h"
#include "platform/include/process.h"
#include "tav/registry/clsgenv.h"

#include <cerrno>
#include <cstdio>

using namespace evm;

namespace {

/// How a process ends that has no memory for a path.
constexpr int NO_MEMORY_STATUS = 14;

char* joined(std::string_view first, std::string_view second) {
    HeapPtr<char> text = heapArray<char>(first.size() + second.size() + 1);
    if (text == nullptr) {
        errno = ENOMEM;
        std::perror("memory allocation fails.");
        scls_exit_fast(NO_MEMORY_STATUS, 0);
    }
    if (!first.empty()) std::memcpy(text.get(), first.data(), first.size());
    if (!second.empty()) std::memcpy(text.get() + first.size(), second.data(), second.size());
    return text.release();
}

} // namespace

const char* EvmGetEnvironmentVariable(const char* p_varName, const char* p_defaultValue) {
    const char* const value = clsgenv(p_varName);
    return value != nullptr ? value : p_defaultValue;
}

char* EvmGetAbsolutePath(const char* p_varName, const char* p_defaultValue) {
    if (const char* const value = clsgenv(p_varName); value != nullptr) return joined(value, "");
    const char* const home = clsgenv(CLSGENV_HOME);
    if (home == nullptr) return nullptr;
    return joined(home, p_defaultValue != nullptr ? p_defaultValue : "");
}
