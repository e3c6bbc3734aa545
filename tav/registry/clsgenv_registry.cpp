#include "platform/include/home.h"
#include "platform/include/immortal.h"
#include "tav/registry/clsgenv.h"
#include "tav/registry/clsgenvctx.h"

#include <cstring>
#include <memory>
#include <string>
#include <utility>

// The registry's side of the configuration lookup: who has the context, and what is read with it.

namespace {

using Context = std::shared_ptr<clsgenvctx>;

/// Guards which context is the process's, not the work with it.
constinit cls_thrIMx s_contextMux;

/// The process's context. A user shares it, so that closing it takes nothing from under who waits.
Context& processContext() {
    static Immortal<Context> context;
    return *context;
}

Context openContext() {
    const StaticLock lock(s_contextMux);
    return processContext();
}

/// The context, opened if need be; null when it cannot be.
Context neededContext() {
    const StaticLock lock(s_contextMux);
    if (!processContext()) clsgenv_initctx();
    return processContext();
}

/// Has the context taken for a scope.
class Use {
public:
    explicit Use(Context context) : m_context(std::move(context)) {
        clsgenv_grabctx(m_context.get());
    }
    ~Use() { clsgenv_releasectx(m_context.get()); }
    Use(const Use&) = delete;
    Use& operator=(const Use&) = delete;

    clsgenvctx* operator->() const { return m_context.get(); }
    [[nodiscard]] clsgenvctx* get() const { return m_context.get(); }

private:
    Context m_context;
};

/// Whether a value read into `size` bytes is a text that says something; ends it with a NUL. What
/// does not fit with its NUL is not cut: half a home or address leads somewhere else.
int checkText(przks_dtype type, char* value, unsigned length, unsigned size) {
    if (type != przks_dtype_ZELTEXT && type != przks_dtype_NOVALUE) return PRZKS_BADARG;
    if (length < size)
        value[length] = '\0';
    else if (std::memchr(value, '\0', length) == nullptr)
        return PRZKS_SHORTBUF;
    return value[0] == '\0' ? PRZKS_NOTFOUND : PRZKS_OK;
}

int readKey(clsgenvctx* ctx, const char* name, char* value, unsigned size) {
    przks_key* key = nullptr;
    int rc = clsgenv_zks_open_key(ctx, &key, name);
    if (rc != PRZKS_OK) return rc;
    przks_dtype type = przks_dtype_NOVALUE;
    unsigned length = size;
    rc = clsgenv_zks_get_value(ctx, key, &type, value, &length, name);
    clsgenv_zks_close_key(ctx, key);
    return rc == PRZKS_OK ? checkText(type, value, length, size) : rc;
}

/// Reads a text; 1 when no context can be opened, else the client's status. The buffer is empty
/// after every failure.
int readText(const char* name, char* value, unsigned size) {
    value[0] = '\0';
    Context context = neededContext();
    if (!context) return 1;
    const Use use(std::move(context));
    if (use->zksctx == nullptr) return 1;
    const int rc = readKey(use.get(), name, value, size);
    if (rc != PRZKS_OK) value[0] = '\0';
    return rc;
}

} // namespace

clsgenvctx::~clsgenvctx() {
    przks_terminate(zksctx);
    cls_thrCvtdestroy(&ctx_condv);
    cls_thrMxd(&ctx_mx);
}

const clsgenvctx* genvzksctx() {
    return openContext().get();
}

void clsgenv_grabctx(clsgenvctx* ctx) {
    cls_thrMxlock(&ctx->ctx_mx);
    while (ctx->in_use != 0) cls_thrCvtwait(&ctx->ctx_condv, &ctx->ctx_mx);
    ctx->in_use = 1;
    cls_thrMxunlock(&ctx->ctx_mx);
}

void clsgenv_releasectx(clsgenvctx* ctx) {
    cls_thrMxlock(&ctx->ctx_mx);
    ctx->in_use = 0;
    cls_thrCvtsignal(&ctx->ctx_condv);
    cls_thrMxunlock(&ctx->ctx_mx);
}

int clsgenv_initctx() {
    const StaticLock lock(s_contextMux);
    const auto made = std::make_shared<clsgenvctx>();
    if (cls_thrMxinit(&made->ctx_mx) != 0 || cls_thrCvtinit(&made->ctx_condv) != 0) return 1;
    if (clsgenv_open(*made) != 0) return 1;
    processContext() = made;
    return 0;
}

int clsgenvinit() {
    return neededContext() ? 0 : 1;
}

void clsgenvterm() {
    Context closed;
    {
        const StaticLock lock(s_contextMux);
        closed = std::exchange(processContext(), nullptr);
    }
    if (!closed) return;
    // The last of those who still wait frees the rest.
    const Use use(std::move(closed));
    przks_terminate(std::exchange(use->zksctx, nullptr));
}

int clsgenvzks(const char* name, char* value) {
    value[0] = '\0';
    if (name == nullptr || std::strcmp(name, CLSGENV_HOME) != 0) return -1;
    return readText((std::string("SYSTEM.") + name).c_str(), value, CLSENV_MAX + 1);
}

int clsgetconnstr(const char* key, char* value) {
    if (key == nullptr) key = "";
    return readText(key, value, CLSGETCONNSTR_SIZE) == PRZKS_OK ? 0 : 1;
}

int clssetzelmarhome(const char* home) {
    const auto set = [home](przks_ctx* registry) {
        clsehdl* handle = nullptr;
        if (clse_init(&handle, registry) != 0) return 1;
        const int result = clse_set_zelmar_home(handle, home);
        clse_close(handle);
        return result == 0 ? 0 : 1;
    };
    Context context = openContext();
    if (!context) return set(nullptr);
    const Use use(std::move(context));
    return set(use->zksctx);
}
