#pragma once

#include <cstdint>
#include <string>

namespace cls {

/// A 64-bit identifier that module logging prints in front of every line of a thread, so that the
/// lines of one request can be followed across processes. 0 means no tint. Tinting is off until a
/// process initialises it; the operations then are thread-safe.
class Tint {
public:
    explicit Tint(unsigned long value) : m_value(value) {}

    /// Turns tinting on, once per process. Stays off when the environment variable
    /// ZEL_CLS_TINT_DISABLE is set to a non-empty text, or when a lock or key cannot be made.
    static void initializeTinting(unsigned nodeId, unsigned procId);
    /// The calling thread's tint; a thread without one gets a stored 0 on the first call.
    static Tint getThreadTint();
    /// Makes this the calling thread's tint; no effect when tinting is off.
    void setThreadTint() const;
    /// A new tint; invalid when tinting is off.
    static Tint generateTint();

    void stringify(std::string& out) const;
    [[nodiscard]] std::string toString() const;
    /// Takes the value from a text form; a text that is none makes the tint invalid.
    void destringify(const std::string& text);
    [[nodiscard]] std::uint64_t toUb8() const { return m_value; }
    [[nodiscard]] bool isInvalid() const { return m_value == 0; }

private:
    std::uint64_t m_value;
};

/// Releases a thread's stored tint when the thread ends.
void sltskydHandler(void* value);

} // namespace cls
