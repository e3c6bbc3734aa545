#include "daemons/vornd/Thread.h"

#include <new>
#include <utility>

namespace vornd {

bool Thread::start(std::function<void()> body) {
    m_body = std::move(body);
    try {
        m_started = ext_cls_thrSpawn(enter, this, nullptr, &m_handle, THREAD_STACK_SIZE,
                                     CLS_THR_JOINABLE) == 0;
    } catch (const std::bad_alloc&) {
        m_started = false;
    }
    return m_started;
}

void Thread::enter(void* self) {
    static_cast<Thread*>(self)->m_body();
}

void Thread::join() {
    if (std::exchange(m_started, false)) ext_cls_thrJoin(&m_handle);
}

} // namespace vornd
