#pragma once

#include "platform/include/threads.h"

#include <functional>

namespace vornd {

/// Threads of this daemon: the libraries do not recurse, and what needs most is a look-up in the
/// machine's user database.
inline constexpr unsigned THREAD_STACK_SIZE = 512 * 1024;

/// A thread that its owner joins. `body` lets no exception out.
class Thread {
public:
    Thread() = default;
    ~Thread() { join(); }
    Thread(const Thread&) = delete;
    Thread& operator=(const Thread&) = delete;

    /// False when the system has no room for a further thread.
    bool start(std::function<void()> body);
    /// Waits for its end; does nothing when it was not started.
    void join();

private:
    static void enter(void* self);

    std::function<void()> m_body;
    sltsthnd m_handle{};
    bool m_started = false;
};

} // namespace vornd
