#include "cppgen/clsErrorArguments.h"

#include "cppgen/clsLog.h"
#include "platform/include/environment.h"

#include <algorithm>
#include <charconv>
#include <cmath>
#include <limits>
#include <sstream>
#include <vector>

namespace cls {

namespace {

void logFault(const char* fault, int msgId) {
    std::ostringstream line;
    line << " UserErrorException: " << fault << " [" << msgId << "]";
    CLS_Debug::s_dbug().error(line, CLS_Debug::DETAIL_DEFAULT);
}

/// Reads from a message text which conversion wants which argument.
class ConversionScanner {
public:
    ConversionScanner(std::string_view text, int msgId, std::size_t argumentCount)
        : m_text(text), m_msgId(msgId), m_wanted(argumentCount, '\0') {}

    /// For each argument its conversion; NUL where none names it. Ends with the last one named.
    std::vector<char> scan() {
        while (toNextPercent() && readConversion()) {
        }
        m_wanted.resize(m_used);
        return std::move(m_wanted);
    }

private:
    /// Goes behind the next percent sign that starts a conversion.
    bool toNextPercent() {
        for (m_at = m_text.find('%', m_at); m_at < m_text.size(); m_at = m_text.find('%', m_at)) {
            ++m_at;
            if (m_at == m_text.size() || m_text[m_at] != '%') return true;
            ++m_at;
        }
        return false;
    }

    /// False when the rest of the text is not to be read.
    bool readConversion() {
        std::size_t position = 0;
        if (m_at < m_text.size() && m_text[m_at] == '(' && !readPosition(position)) return false;
        const char conversion = m_at < m_text.size() ? m_text[m_at++] : '\0';
        switch (conversion) {
        case 's':
        case 'd':
        case 'u':
        case 'f':
            want(conversion, position != 0 ? position - 1 : m_next++);
            break;
        default:
            logFault("UNSUPPORTED FORMAT SPECIFIER IN MESSAGE", m_msgId);
        }
        return true;
    }

    /// "(n)"; anything else between the parentheses is position 0, the next argument.
    bool readPosition(std::size_t& position) {
        const std::size_t end = m_text.find(')', m_at);
        if (end == std::string_view::npos) {
            logFault("Incomplete position specifier in message", m_msgId);
            return false;
        }
        const char* const first = m_text.data() + m_at + 1;
        const auto [stop, error] = std::from_chars(first, m_text.data() + end, position);
        if (error == std::errc::result_out_of_range) {
            position = std::numeric_limits<std::size_t>::max();
        } else if (stop != m_text.data() + end) {
            position = 0;
        }
        m_at = end + 1;
        return true;
    }

    void want(char conversion, std::size_t argument) {
        if (argument >= m_wanted.size()) {
            logFault("MISSING ARGUMENT FOR MESSAGE", m_msgId);
            return;
        }
        if (m_wanted[argument] == '\0') m_wanted[argument] = conversion;
        m_used = std::max(m_used, argument + 1);
    }

    std::string_view m_text;
    int m_msgId;
    std::vector<char> m_wanted;
    std::size_t m_at = 0;
    std::size_t m_next = 0; ///< the next argument of conversions without position
    std::size_t m_used = 0;
};

struct ToText {
    std::string operator()(std::string_view text) const { return std::string(text); }
    template <class Number>
    std::string operator()(Number number) const {
        return std::to_string(number);
    }
};

/// Saturated, as a value outside the type has no representation in it.
template <class Target>
Target saturated(double number) {
    if (std::isnan(number)) return 0;
    constexpr auto least = static_cast<double>(std::numeric_limits<Target>::min());
    constexpr auto greatest = static_cast<double>(std::numeric_limits<Target>::max());
    if (number <= least) return std::numeric_limits<Target>::min();
    // The greatest value itself rounds up when it becomes a double.
    if (number >= greatest) return std::numeric_limits<Target>::max();
    return static_cast<Target>(number);
}

struct ToInteger {
    std::int64_t operator()(std::string_view text) const {
        return parse_int32(text.data(), text.size());
    }
    std::int64_t operator()(std::int64_t number) const { return number; }
    std::int64_t operator()(std::uint64_t number) const {
        constexpr std::uint64_t greatest = std::numeric_limits<std::int64_t>::max();
        return static_cast<std::int64_t>(std::min(number, greatest));
    }
    std::int64_t operator()(double number) const { return saturated<std::int64_t>(number); }
};

struct ToUnsigned {
    std::uint64_t operator()(std::string_view text) const {
        return (*this)(std::int64_t{parse_int32(text.data(), text.size())});
    }
    /// A negative int is what an unsigned int makes of it.
    std::uint64_t operator()(std::int64_t number) const {
        const bool isInt = number >= std::numeric_limits<std::int32_t>::min();
        return number < 0 && isInt ? static_cast<std::uint32_t>(number)
                                   : static_cast<std::uint64_t>(number);
    }
    std::uint64_t operator()(std::uint64_t number) const { return number; }
    std::uint64_t operator()(double number) const { return saturated<std::uint64_t>(number); }
};

/// Narrowed to single precision; what is beyond it becomes infinite.
double narrowed(double number) {
    constexpr double greatest = std::numeric_limits<float>::max();
    if (std::abs(number) > greatest) {
        return std::copysign(std::numeric_limits<double>::infinity(), number);
    }
    return static_cast<double>(static_cast<float>(number));
}

struct ToReal {
    double operator()(std::string_view text) const {
        double number = 0;
        std::from_chars(text.data(), text.data() + text.size(), number);
        return narrowed(number);
    }
    template <class Number>
    double operator()(Number number) const {
        return narrowed(static_cast<double>(number));
    }
};

void append(lsfctx* context, lsfdsc* list, char conversion, const FormatArgument& argument) {
    switch (conversion) {
    case 'd':
        lsfdi(context, list, LSF_INT, std::visit(ToInteger(), argument.value()));
        break;
    case 'u':
        lsfdi(context, list, LSF_UINT, std::visit(ToUnsigned(), argument.value()));
        break;
    case 'f':
        lsfdi(context, list, LSF_FLOAT, std::visit(ToReal(), argument.value()));
        break;
    default:
        lsfdi(context, list, LSF_TEXT, std::visit(ToText(), argument.value()));
    }
}

} // namespace

void appendErrorArguments(lsfctx* context, lsfdsc* list, int msgId, std::string_view text,
                          std::span<const FormatArgument> arguments) {
    const std::vector<char> wanted = ConversionScanner(text, msgId, arguments.size()).scan();
    for (std::size_t i = 0; i < wanted.size(); ++i) {
        append(context, list, wanted[i], arguments[i]);
    }
}

} // namespace cls
