#pragma once

#include "platform/include/registry.h"
#include "platform/include/threads.h"

#include <cstdint>

/// The configuration lookup's own registry context, which outlives the loss of the DEFAULT level.
/// For the sources of the lookup and their tests only.

/// One caller at a time works with a context: it takes it, works, and gives it back. The operations
/// below that take a context want it taken, except where stated.
struct clsgenvctx {
    cls_thrMx ctx_mx = nullptr; ///< with ctx_condv guards in_use
    cls_thrCvt ctx_condv = nullptr;
    przks_ctx* zksctx = nullptr; ///< null once closed: who still waited finds no registry
    std::uint32_t st_ms = 0;     ///< clock when the context fell back to REBOOT, else 0
    std::uint32_t zks_mode = 0;  ///< level of zksctx: PRZKS_DEFAULT or PRZKS_REBOOT
    std::uint32_t in_use = 0;

    clsgenvctx() = default;
    ~clsgenvctx();
    clsgenvctx(const clsgenvctx&) = delete;
    clsgenvctx& operator=(const clsgenvctx&) = delete;
};

/// How long a context stays at REBOOT before it tries DEFAULT again.
inline constexpr std::uint32_t CLSGENV_CLIMB_MS = 60000;

/// The open context, null when there is none. Borrowed: for looking at while nobody closes it.
const clsgenvctx* genvzksctx();

/// Opens the process's context; 0, or 1 when neither level can be opened, which is printed.
int clsgenv_initctx();

/// Opens a context's client context at DEFAULT, else at REBOOT; the same results.
int clsgenv_open(clsgenvctx& ctx);

/// Take the context, waiting for its user, and give it back.
void clsgenv_grabctx(clsgenvctx* ctx);
void clsgenv_releasectx(clsgenvctx* ctx);

/// At REBOOT: tries DEFAULT once CLSGENV_CLIMB_MS have passed. At DEFAULT: falls back to REBOOT;
/// when even that cannot be opened the process ends with status 1. Returns the level in force.
std::uint32_t clsgenv_switch_zks_mode(clsgenvctx* ctx);

/// The client's operations, repeated at REBOOT when DEFAULT was lost. Failures are printed.
int clsgenv_zks_open_key(clsgenvctx* ctx, przks_key** key, const char* name);
int clsgenv_zks_get_value(clsgenvctx* ctx, przks_key* key, przks_dtype* type, void* value,
                          unsigned* length, const char* name);
int clsgenv_zks_close_key(clsgenvctx* ctx, przks_key* key);

/// Replaces the millisecond clock; null puts the system's back.
void clsgenv_set_clock(std::uint64_t (*clock)());
