#include "tav/comm/clscContext.h"

#include "platform/include/clock.h"
#include "platform/include/slots.h"
#include "platform/include/threads.h"
#include "tav/comm/commLog.h"

#include <algorithm>
#include <cstdarg>
#include <cstdint>
#include <limits>

namespace TAV {

namespace {

constexpr unsigned ERROR_TEXT_SIZE = 100;
constexpr unsigned FLAG_THREADED = 2;
constexpr std::size_t TRACE_SIZE = 1024;

/// Two threads that ask first at the same time must get the same context.
class SlotLock {
public:
    SlotLock() { clsgLock(CLSG_CLSC); }
    ~SlotLock() { clsgUnlock(CLSG_CLSC); }
    SlotLock(const SlotLock&) = delete;
    SlotLock& operator=(const SlotLock&) = delete;
};

} // namespace

clscctx* tavinitclscctx(bool threaded) {
    const SlotLock lock;
    if (void* const existing = clsgGet(CLSG_CLSC)) return static_cast<clscctx*>(existing);
    sltspin();
    char errorText[ERROR_TEXT_SIZE] = {};
    if (clsunsinit(errorText, ERROR_TEXT_SIZE) != 0) return nullptr;
    clscctx* context = nullptr;
    const int result = clscinit(nullptr, nullptr, &context, threaded ? FLAG_THREADED : 0);
    if (result != CLSC_OK) {
        commError(" Error allocating CLSC context [", result, "]");
        context = nullptr;
    }
    clsgSet(CLSG_CLSC, context);
    return context;
}

clscctx* tavgetclscctx() {
    return tavinitclscctx(true);
}

int tavCbkTrace(void* /*context*/, unsigned char* format, ...) {
    char text[TRACE_SIZE] = {};
    if (format != nullptr) {
        std::va_list arguments;
        va_start(arguments, format);
// The format is the layer's own; a callback cannot have a literal one.
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wformat-nonliteral"
        skgovprint(text, sizeof text, reinterpret_cast<const char*>(format), arguments);
#pragma GCC diagnostic pop
        va_end(arguments);
    }
    commTrace(" ", text);
    return 1;
}

int tavsleep(unsigned int n) {
    std::uint64_t left = std::uint64_t{n} * 1000;
    std::uint64_t slept = sltrusleep(left);
    while (slept < left) {
        left -= slept;
        slept = sltrusleep(left);
    }
    return static_cast<int>(std::min<std::uint64_t>(slept, std::numeric_limits<int>::max()));
}

} // namespace TAV
