#pragma once

#include <array>
#include <concepts>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <span>
#include <string>
#include <string_view>
#include <variant>

/// Filling arguments into message texts.
///
/// A message text comes from a catalog file and a daemon may choose its number, so a text is never
/// trusted as a printf format: arguments travel as typed values, and the one formatter below takes
/// only what fits.

/// One argument of a message. A text argument is borrowed: it must outlive the call it is made for.
class FormatArgument {
public:
    FormatArgument(std::string_view text) : m_value(text) {}
    FormatArgument(const std::string& text) : m_value(std::string_view(text)) {}
    /// A null pointer is the empty text.
    FormatArgument(const char* text)
        : m_value(text == nullptr ? std::string_view() : std::string_view(text)) {}
    template <std::signed_integral T>
    FormatArgument(T number) : m_value(static_cast<std::int64_t>(number)) {}
    template <std::unsigned_integral T>
    FormatArgument(T number) : m_value(static_cast<std::uint64_t>(number)) {}
    template <std::floating_point T>
    FormatArgument(T number) : m_value(static_cast<double>(number)) {}

    using Value = std::variant<std::string_view, std::int64_t, std::uint64_t, double>;
    [[nodiscard]] const Value& value() const { return m_value; }

private:
    Value m_value;
};

/// The conversions of message texts, and the few of lists of typed arguments.
inline constexpr std::string_view FORMAT_CONVERSIONS = "sdiuxXcf";
inline constexpr std::string_view FORMAT_LIST_CONVERSIONS = "sduf";

/// `text` with its placeholders replaced.
///
/// A placeholder is "%", optionally "(n)" naming the n-th argument (from 1), optionally a flag "-"
/// or "0", a width and a precision (each at most FORMAT_MAX_WIDTH, larger ones are cut to it), an
/// optional length modifier (h, l, ll, z: accepted, not needed), and one of the `conversions`.
/// "%%" prints one percent sign. A placeholder without an argument left prints nothing; an argument
/// of another kind than the conversion wants is printed in its own natural form; "%n" and
/// everything else after a percent sign prints as it stands. Never throws but for lack of memory.
[[nodiscard]] std::string format_message(std::string_view text,
                                         std::span<const FormatArgument> arguments,
                                         std::string_view conversions = FORMAT_CONVERSIONS);

inline constexpr int FORMAT_MAX_WIDTH = 1024;
/// Longest result, where it is cut: room for the longest value of a reply several times over, but a
/// text that repeats one cannot exhaust the memory.
inline constexpr std::size_t FORMAT_MAX_LENGTH = std::size_t{16} * 1024 * 1024;

/// Copies `text` into `out`, cut to `size` - 1 bytes and always terminated (unless `size` is 0).
/// A cut never splits a UTF-8 sequence. Returns the number of bytes copied.
std::size_t copy_cut(char* out, std::size_t size, std::string_view text);

/// Formats into a caller's buffer, cut to fit; returns the number of bytes written before the NUL.
template <class... Arguments>
int lstprintf(char* out, std::size_t size, std::string_view format, const Arguments&... arguments) {
    const std::array<FormatArgument, sizeof...(Arguments)> values{FormatArgument(arguments)...};
    return static_cast<int>(copy_cut(out, size, format_message(format, values)));
}

/// A list of typed arguments that outlives the call which made it; owns copies of its texts.
struct lsfdsc;
/// Formatting context (global slot 16); holds the selected language for each thread.
struct lsfctx;
struct lxlang;

enum lsf_type : int { LSF_END = 0, LSF_FLOAT = 2, LSF_UINT = 5, LSF_INT = 8, LSF_TEXT = 25 };

lsfdsc* lsfdl(lsfctx*);
/// Appends one argument, whose value must fit `type`. 0 on success.
int lsfdi(lsfctx*, lsfdsc*, int type, const FormatArgument& argument);
int lsfdcnt(const lsfdsc*);
/// Selects the language for the calling thread; null selects none. 0 on success.
int lsfsli(lsfctx*, lxlang*);
/// Formats a text with a descriptor into `buffer`, cut to fit, as format_message does with
/// FORMAT_LIST_CONVERSIONS. Returns the length, or a negative value (and an empty buffer) when the
/// descriptor is null.
int lsfpd(lsfctx*, char* buffer, std::size_t size, std::string_view format, const lsfdsc*);
/// Formats with inline arguments; returns the length.
int lsfp(lsfctx*, char* buffer, std::size_t size, std::string_view format,
         std::span<const FormatArgument> arguments);
/// Releases; null is allowed.
void lsfdrm(lsfctx*, lsfdsc*);
