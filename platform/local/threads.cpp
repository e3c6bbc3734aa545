#include "platform/include/threads.h"

#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <climits>
#include <ctime>
#include <memory>
#include <new>

/// What a thread needs of its own. Trivially destructible, so that destructors that run late in a
/// thread's end may still ask for it.
struct cls_thrctx {
    bool prepared = false;
};

struct cls_thrMx_ {
    pthread_mutex_t mutex;
};

struct cls_thrCv_ {
    pthread_cond_t condition;
};

struct sltsctx {
    bool started = true;
};

namespace {

/// Room above the system's least stack: every thread must be able to log a line and to report a
/// failure.
constexpr std::size_t WORKING_STACK = std::size_t{64} * 1024;

thread_local cls_thrctx threadContext;
constinit sltsctx threadLayer;

struct Start {
    void (*function)(void*);
    void* argument;
};

extern "C" void* threadEntry(void* given) {
    const Start start = *std::unique_ptr<Start>(static_cast<Start*>(given));
    cls_thrInitctx();
    start.function(start.argument);
    return nullptr;
}

std::size_t usableStackSize(std::size_t wanted) {
    const auto page = static_cast<std::size_t>(sysconf(_SC_PAGESIZE));
    const auto least = static_cast<std::size_t>(std::max(sysconf(_SC_THREAD_STACK_MIN), 0L));
    const std::size_t size = std::max(wanted, least + WORKING_STACK);
    return (size + page - 1) / page * page;
}

/// The attributes of one thread start.
class ThreadAttributes {
public:
    ThreadAttributes() : m_error(pthread_attr_init(&m_attributes)) {}
    ~ThreadAttributes() {
        if (m_error == 0) pthread_attr_destroy(&m_attributes);
    }
    ThreadAttributes(const ThreadAttributes&) = delete;
    ThreadAttributes& operator=(const ThreadAttributes&) = delete;

    int set(unsigned stackSize, bool detached) {
        if (m_error != 0) return m_error;
        const int state = detached ? PTHREAD_CREATE_DETACHED : PTHREAD_CREATE_JOINABLE;
        const int failed = pthread_attr_setdetachstate(&m_attributes, state);
        if (failed != 0 || stackSize == 0) return failed;
        return pthread_attr_setstacksize(&m_attributes, usableStackSize(stackSize));
    }
    [[nodiscard]] const pthread_attr_t* get() const { return &m_attributes; }

private:
    pthread_attr_t m_attributes{};
    int m_error;
};

int initRecursive(pthread_mutex_t* mutex) {
    pthread_mutexattr_t attributes;
    int failed = pthread_mutexattr_init(&attributes);
    if (failed != 0) return failed;
    failed = pthread_mutexattr_settype(&attributes, PTHREAD_MUTEX_RECURSIVE);
    if (failed == 0) failed = pthread_mutex_init(mutex, &attributes);
    pthread_mutexattr_destroy(&attributes);
    return failed;
}

int initMonotonic(pthread_cond_t* condition) {
    pthread_condattr_t attributes;
    int failed = pthread_condattr_init(&attributes);
    if (failed != 0) return failed;
    failed = pthread_condattr_setclock(&attributes, CLOCK_MONOTONIC);
    if (failed == 0) failed = pthread_cond_init(condition, &attributes);
    pthread_condattr_destroy(&attributes);
    return failed;
}

/// True when `handle` points to an object.
template <class T>
bool alive(T* const* handle) {
    return handle != nullptr && *handle != nullptr;
}

} // namespace

int cls_thrInitctx() {
    threadContext.prepared = true;
    return 0;
}

cls_thrctx* cls_thrGetctx() {
    cls_thrInitctx();
    return &threadContext;
}

int cls_thrMxinit(cls_thrMx* mutex) {
    if (mutex == nullptr) return EINVAL;
    *mutex = nullptr;
    std::unique_ptr<cls_thrMx_> made(new (std::nothrow) cls_thrMx_);
    if (made == nullptr) return ENOMEM;
    const int failed = pthread_mutex_init(&made->mutex, nullptr);
    if (failed == 0) *mutex = made.release();
    return failed;
}

int cls_thrMxlock(cls_thrMx* mutex) {
    return alive(mutex) ? pthread_mutex_lock(&(*mutex)->mutex) : EINVAL;
}

int cls_thrMxunlock(cls_thrMx* mutex) {
    return alive(mutex) ? pthread_mutex_unlock(&(*mutex)->mutex) : EINVAL;
}

int cls_thrMxd(cls_thrMx* mutex) {
    if (!alive(mutex)) return 0;
    const std::unique_ptr<cls_thrMx_> dying(*mutex);
    *mutex = nullptr;
    return pthread_mutex_destroy(&dying->mutex);
}

int cls_thrCvtinit(cls_thrCvt* condition) {
    if (condition == nullptr) return EINVAL;
    *condition = nullptr;
    std::unique_ptr<cls_thrCv_> made(new (std::nothrow) cls_thrCv_);
    if (made == nullptr) return ENOMEM;
    const int failed = initMonotonic(&made->condition);
    if (failed == 0) *condition = made.release();
    return failed;
}

int cls_thrCvtwait(cls_thrCvt* condition, cls_thrMx* mutex) {
    if (!alive(condition) || !alive(mutex)) return EINVAL;
    return pthread_cond_wait(&(*condition)->condition, &(*mutex)->mutex);
}

int cls_thrCvtsignal(cls_thrCvt* condition) {
    return alive(condition) ? pthread_cond_signal(&(*condition)->condition) : EINVAL;
}

int cls_thrCvtbroadcast(cls_thrCvt* condition) {
    return alive(condition) ? pthread_cond_broadcast(&(*condition)->condition) : EINVAL;
}

int cls_thrCvtdestroy(cls_thrCvt* condition) {
    if (!alive(condition)) return 0;
    const std::unique_ptr<cls_thrCv_> dying(*condition);
    *condition = nullptr;
    return pthread_cond_destroy(&dying->condition);
}

int cls_thrIMxlock(cls_thrIMx* mutex) {
    return mutex == nullptr ? EINVAL : pthread_mutex_lock(&mutex->mutex);
}

int cls_thrIMxunlock(cls_thrIMx* mutex) {
    return mutex == nullptr ? EINVAL : pthread_mutex_unlock(&mutex->mutex);
}

int ext_cls_thrSpawn(void (*fn)(void*), void* arg, sltstid* id, sltsthnd* handle,
                     unsigned stackSize, int mode) {
    if (fn == nullptr || (mode != CLS_THR_JOINABLE && mode != CLS_THR_DETACHED)) return EINVAL;
    // A thread that nobody can name is never joined, so it releases itself.
    const bool detached = mode == CLS_THR_DETACHED || (id == nullptr && handle == nullptr);
    ThreadAttributes attributes;
    if (const int failed = attributes.set(stackSize, detached); failed != 0) return failed;
    std::unique_ptr<Start> start(new (std::nothrow) Start{fn, arg});
    if (start == nullptr) return ENOMEM;

    sltstid thread = 0;
    // Written by the system before the thread runs, so that the thread finds its own id there.
    sltstid* const named = id != nullptr ? id : &thread;
    const int failed = pthread_create(named, attributes.get(), threadEntry, start.get());
    if (failed != 0) return failed;
    static_cast<void>(start.release());
    if (handle != nullptr) *handle = detached ? 0 : *named;
    return 0;
}

int ext_cls_thrJoin(sltsthnd* handle) {
    if (handle == nullptr || *handle == 0) return 0;
    const int failed = pthread_join(*handle, nullptr);
    if (failed == 0) *handle = 0;
    return failed;
}

sltsctx* sltsini() {
    return &threadLayer;
}

sltsctx* sltspin() {
    return &threadLayer;
}

int sltsima(sltsctx*, slts_sm* mutex) {
    return mutex == nullptr ? EINVAL : pthread_mutex_lock(&mutex->mutex);
}

int sltsimr(sltsctx*, slts_sm* mutex) {
    return mutex == nullptr ? EINVAL : pthread_mutex_unlock(&mutex->mutex);
}

int sltsmxi(sltsctx*, slts_mx* mutex) {
    return mutex == nullptr ? EINVAL : initRecursive(&mutex->mutex);
}

int slts_mxlock(sltsctx*, slts_mx* mutex) {
    return mutex == nullptr ? EINVAL : pthread_mutex_lock(&mutex->mutex);
}

int slts_mxunlock(sltsctx*, slts_mx* mutex) {
    return mutex == nullptr ? EINVAL : pthread_mutex_unlock(&mutex->mutex);
}

int slts_mxdestroy(sltsctx*, slts_mx* mutex) {
    return mutex == nullptr ? 0 : pthread_mutex_destroy(&mutex->mutex);
}

int sltskyc(cls_thrctx*, sltskey* key, void (*destructor)(void*)) {
    if (key == nullptr) return EINVAL;
    *key = nullptr;
    std::unique_ptr<pthread_key_t> made(new (std::nothrow) pthread_key_t);
    if (made == nullptr) return ENOMEM;
    const int failed = pthread_key_create(made.get(), destructor);
    if (failed == 0) *key = made.release();
    return failed;
}

int sltskyg(cls_thrctx*, sltskey key, void** value) {
    if (value == nullptr) return EINVAL;
    *value = nullptr;
    if (key == nullptr) return EINVAL;
    *value = pthread_getspecific(*key);
    return 0;
}

int sltskys(cls_thrctx*, sltskey key, void* value) {
    return key == nullptr ? EINVAL : pthread_setspecific(*key, value);
}

int sltskyd(cls_thrctx*, sltskey* key) {
    if (!alive(key)) return 0;
    const std::unique_ptr<pthread_key_t> dying(*key);
    *key = nullptr;
    return pthread_key_delete(*dying);
}
