#pragma once

#include <algorithm>
#include <chrono>
#include <climits>
#include <cstdint>

namespace platform {

/// A point of the monotonic clock up to which something may wait, or none at all.
class Deadline {
public:
    using Clock = std::chrono::steady_clock;
    using Milliseconds = std::chrono::milliseconds;

    static Deadline never() { return Deadline(Clock::time_point::max()); }
    /// Spans that the clock cannot hold are endless.
    static Deadline after(Milliseconds span) {
        const auto now = Clock::now();
        const auto most = std::chrono::duration_cast<Milliseconds>(Clock::time_point::max() - now);
        return span >= most ? never() : Deadline(now + span);
    }
    static Deadline after_ms(std::uint64_t span) {
        return after(Milliseconds(std::min<std::uint64_t>(span, INT64_MAX)));
    }
    static Deadline earlier(const Deadline& a, const Deadline& b) {
        return Deadline(std::min(a.m_end, b.m_end));
    }

    /// Rounded up, so that waiting for it does not end early; 0 when passed.
    [[nodiscard]] Milliseconds remaining() const {
        if (m_end == Clock::time_point::max()) return Milliseconds::max();
        const auto now = Clock::now();
        return m_end <= now ? Milliseconds(0) : std::chrono::ceil<Milliseconds>(m_end - now);
    }
    [[nodiscard]] bool passed() const { return remaining() == Milliseconds(0); }
    /// As poll takes it. A wait longer than poll can express ends early: check `passed`.
    [[nodiscard]] int poll_timeout() const {
        if (m_end == Clock::time_point::max()) return -1;
        return static_cast<int>(std::min<std::int64_t>(remaining().count(), INT_MAX));
    }

private:
    explicit Deadline(Clock::time_point end) : m_end(end) {}
    Clock::time_point m_end;
};

} // namespace platform
