#include "cppgen/clsTint.h"

#include "cppgen/clsLog.h"
#include "platform/include/environment.h"
#include "platform/include/threads.h"
#include "platform/include/tint_text.h"

#include <atomic>
#include <memory>
#include <sstream>

namespace cls {

namespace {

constexpr const char* SOURCE_NAME = "clsTint";
constexpr const char* DISABLE_VARIABLE = "ZEL_CLS_TINT_DISABLE";
constexpr std::size_t DISABLE_TEXT_MAX = 15;

/// How a tint is composed. Every process of the cluster computes it so: factor and range are one
/// below the powers of two.
constexpr std::uint64_t NODE_FACTOR = 0xFFFFFFFF;
constexpr unsigned PART_RANGE = 0xFFFF;

constinit cls_thrIMx s_initMux; ///< held while tinting is turned on
constinit std::atomic<bool> s_initialized{false};
// Set before s_initialized is, and unchanged from then on.
constinit cls_thrMx s_tintMux = nullptr;
constinit sltskey s_tintKey = nullptr;
constinit unsigned s_nodeId = 0;
constinit unsigned s_procId = 0;

constinit unsigned s_tintSeed = 1; ///< under s_tintMux

void logLine(const std::string& text) {
    std::ostringstream line(text);
    CLS_Debug::s_dbug().log(line, CLS_Debug::DETAIL_DEFAULT);
}

bool disabledByEnvironment() {
    char text[DISABLE_TEXT_MAX + 1];
    return slzgetevar(DISABLE_VARIABLE, text, DISABLE_TEXT_MAX) > 0;
}

/// Makes lock and key, or neither.
bool makeLockAndKey() {
    const char* failed = nullptr;
    if (cls_thrMxinit(&s_tintMux) != 0) {
        failed = "mutex initialization";
    } else if (sltskyc(cls_thrGetctx(), &s_tintKey, sltskydHandler) != 0) {
        failed = "thread local storage initialization";
    }
    if (failed == nullptr) return true;
    logLine(std::string(" Tints initialization failed because of ") + failed);
    cls_thrMxd(&s_tintMux);
    return false;
}

/// The calling thread's stored tint; null when it has none.
std::uint64_t* storedTint() {
    void* value = nullptr;
    sltskyg(cls_thrGetctx(), s_tintKey, &value);
    return static_cast<std::uint64_t*>(value);
}

/// Keeps a value under the thread's key, whose handler releases it when the thread ends.
void storeTint(std::uint64_t tint) {
    if (std::uint64_t* const stored = storedTint(); stored != nullptr) {
        *stored = tint;
        return;
    }
    auto value = std::make_unique<std::uint64_t>(tint);
    if (sltskys(cls_thrGetctx(), s_tintKey, value.get()) == 0) {
        static_cast<void>(value.release());
    }
}

/// What module logging prints for the calling thread.
bool threadTintText(std::string& text) {
    const Tint tint = Tint::getThreadTint();
    if (!tint.isInvalid()) tint.stringify(text);
    return !tint.isInvalid();
}

} // namespace

void Tint::initializeTinting(unsigned nodeId, unsigned procId) {
    const StaticLock lock(s_initMux);
    CLS_Debug::clsAssert(s_tintMux == nullptr && !s_initialized,
                         "s_tintMux == NULL && !s_initialized", SOURCE_NAME, 64);
    if (disabledByEnvironment()) {
        logLine(std::string(" Tints disabled by Env variable ") + DISABLE_VARIABLE);
        return;
    }
    if (!makeLockAndKey()) return;
    s_nodeId = nodeId;
    s_procId = procId;
    clsvorn_utl_initialize_tinting(s_tintKey);
    s_initialized = true;
    CLS_Debug::setThreadTintHook(threadTintText);
    logLine(" Tints initialized with nodeId: " + std::to_string(nodeId) +
            " procId: " + std::to_string(procId));
}

Tint Tint::getThreadTint() {
    if (!s_initialized) return Tint(0);
    const std::uint64_t* const stored = storedTint();
    if (stored != nullptr) return Tint(*stored);
    storeTint(0);
    return Tint(0);
}

void Tint::setThreadTint() const {
    if (s_initialized) storeTint(m_value);
}

Tint Tint::generateTint() {
    CLS_Debug::clsAssert(!s_initialized || s_tintMux != nullptr,
                         "!s_initialized || s_tintMux != NULL", SOURCE_NAME, 128);
    if (!s_initialized) return Tint(0);
    cls_thrMxlock(&s_tintMux);
    const unsigned seed = ++s_tintSeed;
    cls_thrMxunlock(&s_tintMux);
    const std::uint64_t process = s_procId % PART_RANGE;
    return Tint(s_nodeId * NODE_FACTOR + seed % PART_RANGE + process * PART_RANGE);
}

void Tint::stringify(std::string& out) const {
    char text[TINT_TEXT_SIZE] = "";
    clsvorn_utl_stringify_tint(m_value, text, sizeof text);
    out = text;
}

std::string Tint::toString() const {
    std::string text;
    stringify(text);
    return text;
}

void Tint::destringify(const std::string& text) {
    std::uint64_t value = 0;
    m_value = clsvorn_utl_destringify_tint(text.c_str(), &value) == 0 ? value : 0;
}

void sltskydHandler(void* value) {
    const std::unique_ptr<std::uint64_t> stored(static_cast<std::uint64_t*>(value));
}

} // namespace cls
