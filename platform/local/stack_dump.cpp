#include "platform/include/diagnostics.h"

#include <dlfcn.h>
#include <execinfo.h>

#include <array>
#include <cstdio>

namespace {

constexpr int MAX_FRAMES = 64;

/// One line of a dump: "OBJECT(SYMBOL+0xOFFSET) [0xADDRESS]", leaving out what is not known.
/// Allocates nothing, as the heap may be what went wrong.
void describeFrame(void* address, std::span<char> line) {
    Dl_info info{};
    const bool known = dladdr(address, &info) != 0 && info.dli_fname != nullptr;
    if (!known) {
        std::snprintf(line.data(), line.size(), "[%p]", address);
        return;
    }
    const bool named = info.dli_sname != nullptr;
    const auto at = [](const void* pointer) { return reinterpret_cast<std::uintptr_t>(pointer); };
    const std::uintptr_t offset = at(address) - at(named ? info.dli_saddr : info.dli_fbase);
    std::snprintf(line.data(), line.size(), "%s(%s+0x%zx) [%p]", info.dli_fname,
                  named ? info.dli_sname : "", static_cast<std::size_t>(offset), address);
}

} // namespace

void kgdsdst(int, int (*write)(const char* format, ...), void (*flush)()) {
    if (write != nullptr) {
        std::array<void*, MAX_FRAMES> frames{};
        const int count = backtrace(frames.data(), MAX_FRAMES);
        std::array<char, 512> line{};
        for (int frame = 1; frame < count; ++frame) {
            describeFrame(frames[static_cast<std::size_t>(frame)], line);
            write("%s\n", line.data());
        }
    }
    if (flush != nullptr) flush();
}
