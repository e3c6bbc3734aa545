#pragma once

#include "tav/cluster/clsclu.h"

#include <cstddef>
#include <type_traits>

/// What the sources of the cluster information layer share among themselves; nobody else includes
/// this.

/// Whether it is a context at all.
inline bool clsclu_valid(const clscluctx* context) {
    return context != nullptr && context->majik_clscluctx == CLSCLU_MAGIC;
}

/// A zeroed array from the context's memory; null, with a line in the log, when there is none.
void* clsclu__malloc(clscluctx* context, std::size_t size);
template <class T>
T* clsclu_new(clscluctx* context, std::size_t count = 1) {
    static_assert(std::is_trivially_destructible_v<T>);
    return static_cast<T*>(clsclu__malloc(context, count * sizeof(T)));
}
/// A text's copy from the context's memory.
char* clsclu_copy(clscluctx* context, const char* text);
/// Releases a block; null is accepted.
void clsclu_drop(clscluctx* context, void* block);

/// Writes a line of the layer unless its trace level is negative; returns `status`.
int clsclu_fail(const clscluctx* context, int status, const char* format, ...)
    __attribute__((format(printf, 3, 4)));

/// Holds the context's mutex for a scope.
class ClscluLock {
public:
    explicit ClscluLock(clscluctx* context) : m_context(context) {
        slts_mxlock(context->scx_clscluctx, &context->mutex_clscluctx);
    }
    ~ClscluLock() { slts_mxunlock(m_context->scx_clscluctx, &m_context->mutex_clscluctx); }
    ClscluLock(const ClscluLock&) = delete;
    ClscluLock& operator=(const ClscluLock&) = delete;

private:
    clscluctx* m_context;
};
