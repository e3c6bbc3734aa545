#include "platform/include/message_format.h"

#include <array>
#include <climits>
#include <cmath>

namespace {

template <class... Arguments>
std::string format(std::string_view text, const Arguments&... arguments) {
    const std::array<FormatArgument, sizeof...(Arguments)> values{FormatArgument(arguments)...};
    return format_message(text, values);
}

#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wformat-nonliteral"
template <class T>
std::string printed(const std::string& text, T value) {
    char buffer[4096];
    std::snprintf(buffer, sizeof buffer, text.c_str(), value);
    return buffer;
}
#pragma GCC diagnostic pop

/// Compares with printf in all combinations of flags, width and precision.
template <class T>
void compareAll(const std::string& conversion, const std::vector<T>& values) {
    for (const std::string flags : {"", "-", "0", "-0"})
        for (const char* const width : {"", "1", "5", "30"})
            for (const char* const precision : {"", ".", ".0", ".1", ".4", ".25"})
                for (const T& value : values) {
                    const std::string form = "[%" + flags + width + precision + conversion + "]";
                    ASSERT_EQ(printed(form, value), format(form, value)) << form;
                }
}

} // namespace

TEST(MessageFormat, PrintsWhatPrintfPrints) {
    compareAll<long long>("lld", {0, 7, -7, 123456, LLONG_MIN});
    for (const char* const conversion : {"lu", "lx", "lX"})
        compareAll<unsigned long>(conversion, {0, 10, 0xBEEF, ULONG_MAX});
    for (const char* const conversion : {"i", "u", "x"}) compareAll<int>(conversion, {0, 1, 65535});
    compareAll<double>("f", {0.0, -0.0, 1.5, -2.25, 1e300, -INFINITY, NAN});
    // The flag 0 and a precision are not defined for these in printf.
    for (const char* const form : {"[%s]", "[%7s]", "[%-7s]", "[%.2s]", "[%-6.3s]"})
        EXPECT_EQ(printed(form, "abcd"), format(form, "abcd"));
    for (const char* const form : {"[%c]", "[%3c]", "[%-3c]"})
        EXPECT_EQ(printed(form, 'q'), format(form, 'q'));
}

TEST(MessageFormat, HostileTextsPrintOnlyWhatIsThere) {
    const std::vector<std::pair<std::string, std::string>> cases = {
        {"%", "%"},
        {"%%", "%"},
        {"%n %hn %5n", "%n %hn %5n"},
        {"%s%s%s", "arg"},
        {"%*s|%.*s", "%*s|%.*s"},
        {"%(1)s%(1)s", "argarg"},
        {"%(0)s|%(2)s|%(99999999999999999999)s|", "|||"},
        {"%(s", "%(s"},
        {"%(2)s%s", "arg"},
        {"%llls %p %e", "%llls %p %e"},
        {"%+d % d %#x", "%+d % d %#x"},
        {std::string("%\0s", 3), std::string("%\0s", 3)},
    };
    for (const auto& [text, expected] : cases) EXPECT_EQ(expected, format(text, "arg")) << text;
}

TEST(MessageFormat, ArgumentsOfAnotherKindPrintInTheirOwnForm) {
    EXPECT_EQ("abc| abc|abc", format("%d|%04f|%(3)c", "abc", "abc", "abc"));
    EXPECT_EQ("-5|5|-5|-5", format("%s|%s|%u|%x", -5, 5U, -5, -5));
    EXPECT_EQ("1.500000|1.500000", format("%s|%.1d", 1.5, 1.5));
    EXPECT_EQ("A|300|0", format("%c|%c|%c", 65, 300, 0));
    EXPECT_EQ("\xC3\xA9", format("%c%c", '\xC3', '\xA9')) << "bytes of a signed char";
    EXPECT_EQ("[]", format("[%s]", static_cast<const char*>(nullptr)));
    EXPECT_EQ("VORN-0007: %s %n\n", format("%s-%4.4d: %s\n", "VORN", 7, "%s %n"))
        << "an argument is no format";
}

TEST(MessageFormat, WidthAndLengthAreBounded) {
    EXPECT_EQ(std::size_t{FORMAT_MAX_WIDTH}, format("%99999999999999999999s", "x").size());
    EXPECT_EQ(std::size_t{FORMAT_MAX_WIDTH}, format("%.4294967297d", 1).size());
    const std::string large(FORMAT_MAX_LENGTH / 3 - 1, 'x');
    EXPECT_EQ(FORMAT_MAX_LENGTH, format("%(1)s%(1)s%(1)s%(1)s", large).size());
}

TEST(CopyCut, NeverSplitsACharacter) {
    const std::string text = "a\xC3\xA9\xE2\x82\xAC\xF0\x9F\x98\x80z"; // 1, 2, 3, 4 and 1 bytes
    const std::size_t expected[] = {0, 0, 1, 1, 3, 3, 3, 6, 6, 6, 6, 10, 11};
    for (std::size_t size = 1; size <= 12; ++size) {
        std::string buffer(size, '#');
        EXPECT_EQ(expected[size], copy_cut(buffer.data(), size, text)) << size;
        EXPECT_EQ(text.substr(0, expected[size]), buffer.c_str());
    }
    std::string buffer(4, '#');
    EXPECT_EQ(3U, copy_cut(buffer.data(), 4, "\x80\x80\x80\x80\x80")) << "no UTF-8 at all";
    EXPECT_EQ(0U, copy_cut(buffer.data(), 0, "x"));
    EXPECT_EQ('\x80', buffer[0]);
}
