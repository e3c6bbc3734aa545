#pragma once

#include <condition_variable>
#include <mutex>

namespace vornd {

/// Lets a limited number of threads pass at a time. Thread-safe.
class Turnstile {
public:
    explicit Turnstile(unsigned places) : m_places(places) {}

    /// A place, from construction to destruction.
    class Pass {
    public:
        explicit Pass(Turnstile& turnstile) : m_turnstile(turnstile) { m_turnstile.enter(); }
        ~Pass() { m_turnstile.leave(); }
        Pass(const Pass&) = delete;
        Pass& operator=(const Pass&) = delete;

    private:
        Turnstile& m_turnstile;
    };

private:
    void enter() {
        std::unique_lock lock(m_mutex);
        m_left.wait(lock, [this] { return m_places > 0; });
        --m_places;
    }
    void leave() {
        const std::lock_guard lock(m_mutex);
        ++m_places;
        m_left.notify_one();
    }

    std::mutex m_mutex;
    std::condition_variable m_left;
    unsigned m_places;
};

} // namespace vornd
