#pragma once

#include <pthread.h>

#include <cstdint>

/// Threads, locks and per-thread values.
///
/// Handles created here are released with the operation named beside them; null handles are
/// accepted by every release. Operations return 0 on success.

struct cls_thrctx;
struct cls_thrMx_;
struct cls_thrCv_;
using cls_thrMx = cls_thrMx_*;
using cls_thrCvt = cls_thrCv_*;

/// Static mutexes: constant-initialised and recursive, so that they work before main, during exit,
/// and when a failure is reported while they are held.
struct cls_thrIMx {
    pthread_mutex_t mutex = PTHREAD_RECURSIVE_MUTEX_INITIALIZER_NP;
};
struct slts_sm {
    pthread_mutex_t mutex = PTHREAD_RECURSIVE_MUTEX_INITIALIZER_NP;
};
struct slts_mx {
    pthread_mutex_t mutex;
};
struct sltsctx;

using sltstid = pthread_t;
using sltsthnd = pthread_t;
using sltskey = pthread_key_t*;

/// The calling thread's context: prepared on demand, released when the thread ends.
int cls_thrInitctx();
cls_thrctx* cls_thrGetctx();

/// Mutexes; cls_thrMxd destroys and sets the handle null.
int cls_thrMxinit(cls_thrMx* mutex);
int cls_thrMxlock(cls_thrMx* mutex);
int cls_thrMxunlock(cls_thrMx* mutex);
int cls_thrMxd(cls_thrMx* mutex);

/// Condition variables. A wait may end without a signal: callers loop over their condition.
int cls_thrCvtinit(cls_thrCvt* condition);
int cls_thrCvtwait(cls_thrCvt* condition, cls_thrMx* mutex);
int cls_thrCvtsignal(cls_thrCvt* condition);
int cls_thrCvtbroadcast(cls_thrCvt* condition);
int cls_thrCvtdestroy(cls_thrCvt* condition);

int cls_thrIMxlock(cls_thrIMx* mutex);
int cls_thrIMxunlock(cls_thrIMx* mutex);

enum cls_thr_mode : int { CLS_THR_JOINABLE = 0, CLS_THR_DETACHED = 2 };

/// Starts `fn(arg)` on a new thread with its thread context prepared. A stack size of 0 is the
/// default; smaller ones are raised to what a thread needs to log and to report a failure. `id` and
/// `handle` may be null; without both the thread is detached whatever the mode. *handle is 0 for a
/// detached thread. Returns 0 or an errno value; EINVAL for another mode.
int ext_cls_thrSpawn(void (*fn)(void*), void* arg, sltstid* id, sltsthnd* handle,
                     unsigned stackSize, int mode);

/// Waits for a joinable thread to end and sets the handle to 0; a handle of 0 is accepted.
int ext_cls_thrJoin(sltsthnd* handle);

sltsctx* sltsini();
sltsctx* sltspin();
/// The mutexes of this group are recursive.
int sltsima(sltsctx*, slts_sm* mutex);
int sltsimr(sltsctx*, slts_sm* mutex);
int sltsmxi(sltsctx*, slts_mx* mutex);
int slts_mxlock(sltsctx*, slts_mx* mutex);
int slts_mxunlock(sltsctx*, slts_mx* mutex);
int slts_mxdestroy(sltsctx*, slts_mx* mutex);

/// Per-thread values. `destructor` runs at thread end for every thread whose value is not null.
int sltskyc(cls_thrctx*, sltskey* key, void (*destructor)(void*));
int sltskyg(cls_thrctx*, sltskey key, void** value);
int sltskys(cls_thrctx*, sltskey key, void* value);
/// Releases the key (the values that threads still hold are not destroyed); sets it null.
int sltskyd(cls_thrctx*, sltskey* key);

/// Locks a static mutex for a scope.
class StaticLock {
public:
    explicit StaticLock(cls_thrIMx& mutex) : m_mutex(mutex) { cls_thrIMxlock(&m_mutex); }
    ~StaticLock() { cls_thrIMxunlock(&m_mutex); }
    StaticLock(const StaticLock&) = delete;
    StaticLock& operator=(const StaticLock&) = delete;

private:
    cls_thrIMx& m_mutex;
};
