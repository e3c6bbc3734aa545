#pragma once

namespace vornd {

/// A descriptor that polls readable from wake() until clear(): ends a thread's wait in poll. Waking
/// is thread-safe.
class Wakeup {
public:
    /// Throws std::system_error when there is no descriptor to be had.
    Wakeup();
    ~Wakeup();
    Wakeup(const Wakeup&) = delete;
    Wakeup& operator=(const Wakeup&) = delete;

    [[nodiscard]] int descriptor() const { return m_descriptor; }
    void wake() const noexcept;
    void clear() const noexcept;

private:
    int m_descriptor;
};

} // namespace vornd
