#include "platform/include/clock.h"
#include "platform/include/process.h"
#include "tav/registry/clsgenvctx.h"

#include <array>
#include <atomic>
#include <cstdio>

// Work with a context that was taken: its level and the client's operations.

namespace {

using Clock = std::uint64_t (*)();

constinit std::atomic<Clock> s_clock{sltrgatime64};

/// The clock as contexts keep it: differences are right across its wrap after 49 days.
std::uint32_t now() {
    return static_cast<std::uint32_t>(s_clock.load()());
}

void enter(clsgenvctx& ctx, przks_ctx* opened, std::uint32_t level) {
    przks_terminate(ctx.zksctx);
    ctx.zksctx = opened;
    ctx.zks_mode = level;
    ctx.st_ms = level == PRZKS_REBOOT ? now() : 0;
}

void climb(clsgenvctx& ctx) {
    if (now() - ctx.st_ms <= CLSGENV_CLIMB_MS) return;
    przks_ctx* opened = nullptr;
    if (przks_init_ext(&opened, PRZKS_DEFAULT, nullptr, nullptr, 0) == PRZKS_OK)
        enter(ctx, opened, PRZKS_DEFAULT);
    else
        ctx.st_ms = now();
}

void fallBack(clsgenvctx& ctx) {
    std::array<char, PRZKS_ERRORTEXT_SIZE> text{};
    przks_ctx* opened = nullptr;
    const int rc = przks_init_ext(&opened, PRZKS_REBOOT, text.data(), nullptr, 0);
    if (rc != PRZKS_OK) {
        std::printf("clsgenv_switch_zks_mode: przks_init failed rc = %d err=%s aborting\n", rc,
                    text.data());
        scls_exit_fast(1, 0);
    }
    enter(ctx, opened, PRZKS_REBOOT);
}

/// Whether an operation is to be repeated, the context now being at REBOOT.
bool fellBack(clsgenvctx& ctx, int rc) {
    return rc == PRZKS_DEFAULT_LOST && ctx.zks_mode == PRZKS_DEFAULT &&
           clsgenv_switch_zks_mode(&ctx) == PRZKS_REBOOT;
}

} // namespace

void clsgenv_set_clock(Clock clock) {
    s_clock = clock != nullptr ? clock : sltrgatime64;
}

int clsgenv_open(clsgenvctx& ctx) {
    std::array<char, PRZKS_ERRORTEXT_SIZE> text{};
    for (const unsigned level : {PRZKS_DEFAULT, PRZKS_REBOOT}) {
        przks_ctx* opened = nullptr;
        if (przks_init_ext(&opened, level, text.data(), nullptr, 0) != PRZKS_OK) continue;
        enter(ctx, opened, level);
        return 0;
    }
    // A registry that was never made is nothing to talk about and comes without a text.
    if (text[0] != '\0') std::printf("%s\n", text.data());
    return 1;
}

std::uint32_t clsgenv_switch_zks_mode(clsgenvctx* ctx) {
    if (ctx->zks_mode == PRZKS_REBOOT)
        climb(*ctx);
    else
        fallBack(*ctx);
    return ctx->zks_mode;
}

int clsgenv_zks_open_key(clsgenvctx* ctx, przks_key** key, const char* name) {
    if (ctx->zks_mode == PRZKS_REBOOT) clsgenv_switch_zks_mode(ctx);
    int rc = przks_open_key(ctx->zksctx, name, key);
    if (fellBack(*ctx, rc)) rc = przks_open_key(ctx->zksctx, name, key);
    if (rc != PRZKS_OK)
        std::printf("clsgenv_zks_open_key:przks_open_key failed key =%s rc=%d\n", name, rc);
    return rc;
}

int clsgenv_zks_get_value(clsgenvctx* ctx, przks_key* key, przks_dtype* type, void* value,
                          unsigned* length, const char* name) {
    const unsigned size = *length;
    int rc = przks_get_value(ctx->zksctx, key, type, value, length);
    if (fellBack(*ctx, rc)) {
        *length = size;
        rc = przks_get_value(ctx->zksctx, key, type, value, length);
    }
    if (rc != PRZKS_OK)
        std::printf("clgenv_zks_get_value:przks_get_value failed key=%s\t rc=%d\n", name, rc);
    return rc;
}

int clsgenv_zks_close_key(clsgenvctx* ctx, przks_key* key) {
    int rc = przks_close_key(ctx->zksctx, key);
    if (fellBack(*ctx, rc)) rc = przks_close_key(ctx->zksctx, key);
    return rc;
}
