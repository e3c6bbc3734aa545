#include "tools/evmshow/NamePattern.h"
#include "tools/evmshow/TimeText.h"

#include <cstdlib>
#include <ctime>
#include <string>

using evmshow::NamePattern;

TEST(NamePatternTest, matchesWholeNames) {
    struct Row {
        const char* pattern;
        const char* name;
        bool expected;
    };
    constexpr Row ROWS[] = {
        {"a.b", "a.b", true},
        {"a.b", "A.b", false},
        {"a.b", "a.b.c", false},
        {"a.b", "x.a.b", false},
        {"*", "", true},
        {"*", "a.b.c", true},
        {"a.*", "a", true},
        {"a.*", "a.b.c", true},
        {"a.*", "ab", false},
        {"*.c", "a.b.c", true},
        {"*.c", "c", true},
        {"*.c", "a.bc", false},
        {"a.*.c", "a.c", true},
        {"a.*.c", "a.b.b.c", true},
        {"a.*.c", "a.c.b", false},
        {"*.b.*.b", "a.b.b", true},
        {"*.b.*.b", "a.b", false},
        {"*.b.c", "b.b.b.c", true},
        {"a*.b", "a.b", true},
        {"a*.b", "axyz.b", true},
        {"a*.b", "a.x.b", false},
        {"*a*b*", "xaybz", true},
        {"*a*b*", "xbya", false},
        {"a*a", "a", false},
        {"?", "a", true},
        {"?", "", false},
        {"?", "ab", false},
        {"a.?.c", "a.b.c", true},
        {"a?b", "a.b", false},
        {"?*", "abc", true},
        {"**.c", "a.b.c", false},
        {"**.c", "a.c", true},
        {"a.*.*", "a", true},
        {"*ab", "aab", true},
        {"a?c*e.*.*f", "abcde.x.ef", true},
    };
    for (const Row& row : ROWS) {
        const auto pattern = NamePattern::parse(row.pattern);
        ASSERT_TRUE(pattern) << row.pattern;
        EXPECT_EQ(pattern->matches(row.name), row.expected) << row.pattern << " " << row.name;
    }
    for (const char* text : {"", ".", "a.", ".a", "a..b", "a-b", "a b", "a.b\n", "\xC3\xA4"})
        EXPECT_FALSE(NamePattern::parse(text)) << text;
}

/// Matching by trying every split would not end within anybody's lifetime.
TEST(NamePatternTest, manyStarsTakeNoExponentialTime) {
    std::string stars, name;
    for (int count = 0; count < 60; ++count) {
        stars += "*.a*a*a.";
        name += "aaaaaaaaaaaaaaaab.";
    }
    EXPECT_FALSE(NamePattern::parse(stars + "x")->matches(name + "b"));
}

TEST(TimeTextTest, readsWhatUsersWrite) {
    setenv("TZ", "CET-1CEST,M3.5.0,M10.5.0/3", 1);
    tzset();
    constexpr std::uint64_t NOW = 1'000'000;
    struct Row {
        const char* text;
        std::optional<std::uint64_t> expected;
    };
    constexpr std::nullopt_t NONE = std::nullopt;
    const Row ROWS[] = {
        {"0", 0},
        {"1760000000", 1'760'000'000},
        {"18446744073709551615", 18'446'744'073'709'551'615ULL},
        {"18446744073709551616", NONE},
        {"-90s", NOW - 90},
        {"-10m", NOW - 600},
        {"-2h", NOW - 7200},
        {"-1d", NOW - 86'400},
        {"-0d", NOW},
        {"-400d", 0},
        {"-18446744073709551615d", 0},
        {"2026-01-31", 1'769'814'000},
        {"2026-01-31 23:59", 1'769'900'340},
        {"2026-01-31 23:59:59", 1'769'900'399},
        {"2026-07-01 12:00", 1'782'900'000},
        {"2024-02-29", 1'709'161'200},
        {"1970-01-01", NONE}, // one hour before the epoch
    };
    for (const Row& row : ROWS)
        EXPECT_EQ(evmshow::parseTime(row.text, NOW), row.expected) << row.text;
    for (const char* text : {"",
                             "-",
                             "-m",
                             "-10",
                             "-10w",
                             "--10m",
                             "-1.5h",
                             "+5",
                             " 5",
                             "5 ",
                             "0x10",
                             "1e3",
                             "now",
                             "2026-02-29",
                             "2026-13-01",
                             "2026-00-10",
                             "2026-04-31",
                             "2026-1-01",
                             "26-01-01",
                             "2026-01-31 ",
                             "2026-01-31 24:00",
                             "2026-01-31 23:60",
                             "2026-01-31 23:59:60",
                             "2026-01-31T23:59",
                             "2026-01-31 23:59:59x",
                             "2026-01-31 3:59",
                             "2026-01-31x"})
        EXPECT_EQ(evmshow::parseTime(text, NOW), NONE) << text;
}
