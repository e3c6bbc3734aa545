#include "tools/evmshow/TimeText.h"

#include <charconv>
#include <ctime>

namespace evmshow {

namespace {

/// A number that is all of `text`.
std::optional<std::uint64_t> number(std::string_view text) {
    std::uint64_t value = 0;
    const char* const end = text.data() + text.size();
    const auto [stop, error] = std::from_chars(text.data(), end, value);
    if (error != std::errc{} || stop != end) return std::nullopt;
    return value;
}

std::uint64_t secondsOf(char unit) {
    switch (unit) {
    case 's':
        return 1;
    case 'm':
        return 60;
    case 'h':
        return 60 * 60;
    case 'd':
        return 24 * 60 * 60;
    default:
        return 0;
    }
}

/// `text` without its sign.
std::optional<std::uint64_t> timeAgo(std::string_view text, std::uint64_t now) {
    if (text.empty()) return std::nullopt;
    const std::uint64_t unit = secondsOf(text.back());
    const auto count = number(text.substr(0, text.size() - 1));
    if (unit == 0 || !count) return std::nullopt;
    return *count > now / unit ? 0 : now - *count * unit;
}

/// Takes exactly `digits` digits, of a number from `least` to `most`, off the text's beginning.
std::optional<int> takeNumber(std::string_view& text, std::size_t digits, int least, int most) {
    if (text.size() < digits) return std::nullopt;
    const auto value = number(text.substr(0, digits));
    if (!value || *value < static_cast<std::uint64_t>(least) ||
        *value > static_cast<std::uint64_t>(most))
        return std::nullopt;
    text.remove_prefix(digits);
    return static_cast<int>(*value);
}

/// Likewise, with a character before the digits.
std::optional<int> takePart(std::string_view& text, char before, int least, int most) {
    if (!text.starts_with(before)) return std::nullopt;
    text.remove_prefix(1);
    return takeNumber(text, 2, least, most);
}

int daysOf(int month, int year) {
    if (month == 2) return year % 4 == 0 && (year % 100 != 0 || year % 400 == 0) ? 29 : 28;
    return month == 4 || month == 6 || month == 9 || month == 11 ? 30 : 31;
}

bool takeTimeOfDay(std::string_view& text, std::tm& time) {
    const auto hour = takePart(text, ' ', 0, 23);
    const auto minute = hour ? takePart(text, ':', 0, 59) : std::nullopt;
    if (!minute) return false;
    time.tm_hour = *hour;
    time.tm_min = *minute;
    if (text.empty()) return true;
    const auto second = takePart(text, ':', 0, 59);
    time.tm_sec = second.value_or(0);
    return second.has_value();
}

std::optional<std::uint64_t> localTime(std::string_view text) {
    const auto year = takeNumber(text, 4, 1970, 9999);
    const auto month = year ? takePart(text, '-', 1, 12) : std::nullopt;
    const auto day = month ? takePart(text, '-', 1, daysOf(*month, *year)) : std::nullopt;
    if (!day) return std::nullopt;
    std::tm time{};
    time.tm_year = *year - 1900;
    time.tm_mon = *month - 1;
    time.tm_mday = *day;
    time.tm_isdst = -1; // whether it is daylight saving time is the calendar's to know
    if (!text.empty() && !takeTimeOfDay(text, time)) return std::nullopt;
    if (!text.empty()) return std::nullopt;
    const std::time_t seconds = std::mktime(&time);
    return seconds < 0 ? std::nullopt : std::optional(static_cast<std::uint64_t>(seconds));
}

} // namespace

std::optional<std::uint64_t> parseTime(std::string_view text, std::uint64_t now) {
    if (text.starts_with('-')) return timeAgo(text.substr(1), now);
    return text.find('-') == std::string_view::npos ? number(text) : localTime(text);
}

} // namespace evmshow
