#include "tav/registry/tavzksShared.h"

#include <array>
#include <utility>

namespace TAV {

constinit std::atomic<przks_ctx*> gzksctx{nullptr};
constinit std::atomic<przks_ctx*> rzksctx{nullptr};
constinit std::atomic<przks_ctx*> gzklctx{nullptr};
constinit std::atomic<przks_ctx*> rzklctx{nullptr};
constinit cls_thrIMx s_zksMux;
constinit cls_thrIMx s_zklMux;

namespace {

constexpr const char* SOURCE = "tavzksContexts";

using ErrorText = std::array<char, PRZKS_ERRORTEXT_SIZE>;

/// A level of the other registry would open that one.
unsigned clusterLevel(unsigned level) {
    return level == PRZKS_REBOOT || level == PRZKS_DEFAULT ? level : unsigned{PRZKS_CACHE};
}

unsigned localLevel(unsigned level) {
    return level == PRZKL_REBOOT || level == PRZKL_DEFAULT ? level : unsigned{PRZKL_CACHE};
}

/// Opens a context into `place` under the registry's mutex. A context that stood there is closed.
int openInto(std::atomic<przks_ctx*>& place, cls_thrIMx& mutex, unsigned level, ErrorText& text,
             void* arg) {
    const StaticLock lock(mutex);
    przks_ctx* opened = nullptr;
    const int rc = przks_init_ext2(&opened, level, text.data(), nullptr, arg);
    if (rc == PRZKS_OK) przks_terminate(place.exchange(opened));
    return rc;
}

void closeBoth(std::atomic<przks_ctx*>& open, std::atomic<przks_ctx*>& reboot, cls_thrIMx& mutex) {
    const StaticLock lock(mutex);
    przks_terminate(open.exchange(nullptr));
    przks_terminate(reboot.exchange(nullptr));
}

przks_ctx* openContext() {
    przks_ctx* const open = gzksctx;
    return open != nullptr ? open : rzksctx.load();
}

/// Tries the DEFAULT, then the REBOOT level, unless another thread has opened one meanwhile.
void openOnDemand() {
    const StaticLock lock(s_zksMux);
    if (openContext() != nullptr) return;
    ErrorText text{};
    if (openInto(gzksctx, s_zksMux, PRZKS_DEFAULT, text, nullptr) == PRZKS_OK)
        zks::trace(" ZKS context init DEFAULT Level: ", gzksctx.load());
    else if (openInto(rzksctx, s_zksMux, PRZKS_REBOOT, text, nullptr) == PRZKS_OK)
        zks::trace(" ZKS context init REBOOT Level: ", rzksctx.load());
    else
        zks::traceFailure(" ZKS context init failure: ", text.data());
}

} // namespace

int tavzksinitctx(unsigned level, std::string* error, void* arg, bool flag) {
    level = clusterLevel(level);
    const bool isReboot = level == PRZKS_REBOOT && !flag;
    auto& place = isReboot ? rzksctx : gzksctx;
    ErrorText text{};
    const int rc = openInto(place, s_zksMux, level, text, arg);
    if (rc != PRZKS_OK) {
        zks::traceFailure(" ZKS context init failure.  Error: ", text.data());
        if (error != nullptr) *error = text.data();
        return rc;
    }
    const char* const name = level == PRZKS_DEFAULT ? "DEFAULT" : "CACHE";
    zks::trace(" ZKS context init ", isReboot ? "REBOOT" : name, " Level: ", place.load());
    return rc;
}

int tavzklinitctx(unsigned level) {
    level = localLevel(level);
    const bool isReboot = level == PRZKL_REBOOT;
    auto& place = isReboot ? rzklctx : gzklctx;
    ErrorText text{};
    const int rc = openInto(place, s_zklMux, level, text, nullptr);
    if (rc != PRZKS_OK) {
        zks::traceFailure(" ZKL context init failure. Error: ", text.data());
        return rc;
    }
    const char* const name = level == PRZKL_DEFAULT ? "DEFAULT" : "CACHE";
    zks::trace(" ZKL context init ", isReboot ? "REBOOT" : name, " Level: ", place.load());
    return rc;
}

przks_ctx* tavzksgetctx() {
    przks_ctx* const open = gzksctx;
    if (open == nullptr) tavzksFatal(SOURCE, __builtin_LINE(), "ZKS Context is NULL");
    return open;
}

przks_ctx* tavzklgetctx() {
    przks_ctx* const open = gzklctx;
    if (open == nullptr) tavzksFatal(SOURCE, __builtin_LINE(), "ZKL Context is NULL");
    return open;
}

przks_ctx* tavzkstrygetctx() {
    if (openContext() == nullptr) openOnDemand();
    return openContext();
}

void tavzksTerm() {
    closeBoth(gzksctx, rzksctx, s_zksMux);
}

void tavzklTerm() {
    closeBoth(gzklctx, rzklctx, s_zklMux);
}

} // namespace TAV
