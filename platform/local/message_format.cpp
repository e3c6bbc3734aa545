#include "platform/include/message_format.h"

#include "platform/local/format_parts.h"

#include <algorithm>
#include <charconv>
#include <cstring>
#include <optional>

namespace {

/// One recognised placeholder.
struct Placeholder {
    std::size_t length = 0;              ///< bytes after the percent sign
    std::optional<std::size_t> position; ///< from 1; absent: the next argument
    bool left = false;
    bool zero = false;
    int width = 0;
    std::optional<int> precision;
    char conversion = '\0';
};

/// Reads one placeholder from the text after its percent sign.
class PlaceholderReader {
public:
    PlaceholderReader(std::string_view text, std::string_view conversions)
        : m_text(text), m_conversions(conversions) {}

    std::optional<Placeholder> read() {
        Placeholder found;
        if (take('(') && !readPosition(found)) return std::nullopt;
        while (peek() == '-' || peek() == '0')
            (m_text[m_at++] == '-' ? found.left : found.zero) = true;
        found.width = readNumber(FORMAT_MAX_WIDTH);
        if (take('.')) found.precision = readNumber(FORMAT_MAX_WIDTH);
        skipLengthModifier();
        if (peek() == '\0' || m_conversions.find(peek()) == std::string_view::npos)
            return std::nullopt;
        found.conversion = m_text[m_at++];
        found.length = m_at;
        return found;
    }

private:
    [[nodiscard]] char peek() const { return m_at < m_text.size() ? m_text[m_at] : '\0'; }

    bool take(char wanted) {
        if (m_at >= m_text.size() || m_text[m_at] != wanted) return false;
        ++m_at;
        return true;
    }

    [[nodiscard]] bool atDigit() const { return peek() >= '0' && peek() <= '9'; }

    int readNumber(int limit) {
        int value = 0;
        for (; atDigit(); ++m_at) value = std::min(value * 10 + (m_text[m_at] - '0'), limit);
        return value;
    }

    bool readPosition(Placeholder& found) {
        static constexpr int MAX_POSITION = 1'000'000; // beyond any list of arguments
        if (!atDigit()) return false;
        found.position = static_cast<std::size_t>(readNumber(MAX_POSITION));
        return take(')');
    }

    void skipLengthModifier() {
        if (take('h') || take('z')) return;
        if (take('l')) take('l');
    }

    std::string_view m_text;
    std::string_view m_conversions;
    std::size_t m_at = 0;
};

std::string decimal(std::uint64_t magnitude) {
    return std::to_string(magnitude);
}

std::string hexadecimal(std::uint64_t magnitude, bool upper) {
    char digits[16];
    const auto [end, error] = std::to_chars(std::begin(digits), std::end(digits), magnitude, 16);
    std::string text(std::begin(digits), end);
    if (upper) {
        for (char& digit : text)
            if (digit >= 'a') digit = static_cast<char>(digit - 'a' + 'A');
    }
    return text;
}

/// printf's %f, whatever decimal sign the locale has.
std::string fixed(double number, int precision) {
    static constexpr std::size_t INTEGER_DIGITS = 310; // of the largest double, and a sign
    char digits[INTEGER_DIGITS + 1 + FORMAT_MAX_WIDTH];
    const auto [end, error] = std::to_chars(std::begin(digits), std::end(digits), number,
                                            std::chars_format::fixed, precision);
    return {std::begin(digits), end};
}

/// A converted argument before it is padded to its width.
struct Piece {
    std::string_view sign;
    std::string digits;
    bool zeroPadded = false;
};

Piece number(bool negative, std::string digits, const Placeholder& form) {
    // Zero with precision zero has no digits, as printf has it.
    if (form.precision == 0 && digits == "0") digits.clear();
    const auto least = static_cast<std::size_t>(form.precision.value_or(1));
    if (digits.size() < least) digits.insert(0, least - digits.size(), '0');
    return {negative ? "-" : "", std::move(digits), form.zero && !form.precision};
}

constexpr int DEFAULT_PRECISION = 6;

Piece realNumber(double value, const Placeholder& form) {
    const bool wanted = form.conversion == 'f';
    std::string digits =
        fixed(value, wanted ? form.precision.value_or(DEFAULT_PRECISION) : DEFAULT_PRECISION);
    const bool negative = digits.front() == '-';
    if (negative) digits.erase(0, 1);
    const bool finite = digits.front() >= '0' && digits.front() <= '9';
    return {negative ? "-" : "", std::move(digits), wanted && form.zero && finite};
}

Piece wholeNumber(bool negative, std::uint64_t magnitude, const Placeholder& form) {
    switch (form.conversion) {
    case 'x':
    case 'X':
        if (negative) break;
        return number(false, hexadecimal(magnitude, form.conversion == 'X'), form);
    case 'c':
        // A byte, signed or not; a NUL would end the text for most readers.
        if (magnitude == 0 || magnitude > (negative ? 128U : 255U)) break;
        return {"", std::string(1, static_cast<char>(negative ? 256 - magnitude : magnitude)),
                false};
    case 'd':
    case 'i':
    case 'u':
        return number(negative, decimal(magnitude), form);
    default:
        break;
    }
    return {negative ? "-" : "", decimal(magnitude), false};
}

struct Converter {
    const Placeholder& form;

    Piece operator()(std::string_view text) const {
        if (form.conversion == 's' && form.precision)
            text = text.substr(0, prefix_length(text, static_cast<std::size_t>(*form.precision)));
        return {"", std::string(text), false};
    }
    Piece operator()(std::int64_t value) const {
        const auto bits = static_cast<std::uint64_t>(value);
        return wholeNumber(value < 0, value < 0 ? 0 - bits : bits, form);
    }
    Piece operator()(std::uint64_t value) const { return wholeNumber(false, value, form); }
    Piece operator()(double value) const { return realNumber(value, form); }
};

void appendPadded(std::string& out, const Piece& piece, const Placeholder& form) {
    const std::size_t length = piece.sign.size() + piece.digits.size();
    const auto width = static_cast<std::size_t>(form.width);
    const std::size_t missing = width > length ? width - length : 0;
    const bool zeros = piece.zeroPadded && !form.left;
    if (!form.left && !zeros) out.append(missing, ' ');
    out.append(piece.sign);
    if (zeros) out.append(missing, '0');
    out.append(piece.digits);
    if (form.left) out.append(missing, ' ');
}

/// Walks over a text: plain pieces and placeholders in order.
template <class Plain, class Fill>
void walk(std::string_view text, std::string_view conversions, Plain plain, Fill fill) {
    while (!text.empty()) {
        const std::size_t percent = text.find('%');
        plain(text.substr(0, percent));
        if (percent == std::string_view::npos) return;
        text.remove_prefix(percent + 1);
        if (const auto found = PlaceholderReader(text, conversions).read()) {
            fill(*found);
            text.remove_prefix(found->length);
        } else {
            plain("%");
            if (text.starts_with('%')) text.remove_prefix(1);
        }
    }
}

} // namespace

std::size_t prefix_length(std::string_view text, std::size_t limit) {
    if (text.size() <= limit) return text.size();
    const auto byteAt = [&](std::size_t at) { return static_cast<unsigned char>(text[at]); };
    std::size_t start = limit;
    while (start != 0 && limit - start < 3 && (byteAt(start) & 0xC0) == 0x80) --start;
    // Bytes that are no UTF-8 may be cut anywhere.
    return byteAt(start) >= 0xC0 ? start : limit;
}

std::string format_message(std::string_view text, std::span<const FormatArgument> arguments,
                           std::string_view conversions) {
    std::string out;
    std::size_t next = 0;
    const auto append = [&out](std::string_view plain) {
        out.append(plain.substr(0, FORMAT_MAX_LENGTH - std::min(out.size(), FORMAT_MAX_LENGTH)));
    };
    walk(text, conversions, append, [&](const Placeholder& form) {
        // Position 0 names no argument: it wraps to an index beyond every list.
        const std::size_t index = form.position ? *form.position - 1 : next++;
        if (index >= arguments.size() || out.size() >= FORMAT_MAX_LENGTH) return;
        appendPadded(out, std::visit(Converter{form}, arguments[index].value()), form);
    });
    if (out.size() > FORMAT_MAX_LENGTH) out.resize(prefix_length(out, FORMAT_MAX_LENGTH));
    return out;
}

std::size_t copy_cut(char* out, std::size_t size, std::string_view text) {
    if (out == nullptr || size == 0) return 0;
    const std::size_t length = prefix_length(text, size - 1);
    if (length != 0) std::memcpy(out, text.data(), length);
    out[length] = '\0';
    return length;
}
