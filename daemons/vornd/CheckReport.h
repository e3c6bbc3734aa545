#pragma once

#include <string>
#include <string_view>

namespace vornd {

/// How one run of a check's script ended.
struct CheckReport {
    enum class End {
        exited,     ///< `number` is its status
        killed,     ///< by the signal `number`
        hung,       ///< not within its limit; it was ended
        notStarted, ///< `number` is the system's reason
        lost,       ///< its supervisor was ended
    };
    End end = End::lost;
    int number = 0;

    /// The resource's state that this tells.
    [[nodiscard]] const char* state() const;
    /// Whether the script did not come to its own end.
    [[nodiscard]] bool isFailure() const { return end != End::exited; }
    /// For a line in the log.
    [[nodiscard]] std::string text() const;

    /// The form in which a supervisor tells it: a word, a blank, the number and a line end.
    [[nodiscard]] std::string encode() const;
    /// A form that is none of these counts as lost.
    [[nodiscard]] static CheckReport decode(std::string_view line);
};

/// Longest form, with room to see that one is longer.
inline constexpr std::size_t MAX_REPORT_SIZE = 64;

} // namespace vornd
