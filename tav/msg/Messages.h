#pragma once

#include <cstddef>
#include <string>

namespace TAV {

/// A reference to the message catalog that a command's texts come from: looks a number of the
/// facility "VORN" up in the environment's language. Immutable; may be used by several threads.
class Messages {
public:
    /// What every buffer handed in here holds, with the NUL.
    static constexpr std::size_t TEXT_SIZE = 2048;

    /// Copies both texts; null counts as empty.
    Messages(const char* name, int set, const char* location);

    /// Writes "VORN-<number, at least 4 digits>: <text>" and a line end into `out`, cut to
    /// TEXT_SIZE; returns 0. Without such a message writes "Message not found" and returns -1.
    /// `dflt` and `flag` are accepted and change nothing.
    int text(char* out, int number, const char* dflt, int flag) const;
    /// The same with the bare catalog text.
    int textnofmt(char* out, int number, const char* dflt, int flag) const;

    [[nodiscard]] const std::string& name() const { return m_name; }
    [[nodiscard]] int set() const { return m_set; }
    [[nodiscard]] const std::string& location() const { return m_location; }

private:
    std::string m_name;
    int m_set;
    std::string m_location;
};

} // namespace TAV
