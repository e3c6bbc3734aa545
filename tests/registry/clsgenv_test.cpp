#include "tav/registry/clsgenv.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <set>
#include <string>
#include <thread>
#include <vector>

namespace {

std::string text_of(const char* text) {
    return text == nullptr ? "(null)" : text;
}

/// Runs `probe` in a child process that has its own table of answers.
template <class Probe>
void in_child(Probe probe) {
    EXPECT_EXIT(
        {
            probe();
            std::exit(testing::Test::HasFailure() ? 1 : 0);
        },
        testing::ExitedWithCode(0), "^$");
}

} // namespace

TEST(Clsgenv, FirstAnswerIsKeptAtOneAddress) {
    ::setenv("CLSGENV_TEST_A", "first", 1);
    const char* answer = clsgenv("CLSGENV_TEST_A");
    ASSERT_EQ(text_of(answer), "first");
    ::setenv("CLSGENV_TEST_A", "second", 1);
    ::setenv("CLSGENV_TEST_AB", "longer name", 1);
    EXPECT_EQ(text_of(clsgenv("CLSGENV_TEST_AB")), "longer name");
    EXPECT_EQ(clsgenv("CLSGENV_TEST_A"), answer);
    EXPECT_EQ(text_of(answer), "first");
    ::unsetenv("CLSGENV_TEST_A");
    EXPECT_EQ(clsgenv("CLSGENV_TEST_A"), answer);
}

TEST(Clsgenv, UnsetVariableIsAskedForAgain) {
    ::unsetenv("CLSGENV_TEST_LATE");
    EXPECT_EQ(clsgenv("CLSGENV_TEST_LATE"), nullptr);
    EXPECT_EQ(clsenvlookup("CLSGENV_TEST_LATE"), nullptr);
    ::setenv("CLSGENV_TEST_LATE", "", 1);
    EXPECT_EQ(clsgenv("CLSGENV_TEST_LATE"), nullptr);
    ::setenv("CLSGENV_TEST_LATE", "now", 1);
    EXPECT_EQ(text_of(clsgenv("CLSGENV_TEST_LATE")), "now");
}

TEST(Clsgenv, NamesAndValuesAtTheirLimit) {
    const std::string longest(CLSENV_MAX, 'N');
    const std::string too_long(CLSENV_MAX + 1, 'N');
    ::setenv(longest.c_str(), std::string(CLSENV_MAX, 'v').c_str(), 1);
    ::setenv(too_long.c_str(), "unreachable", 1);
    ::setenv("CLSGENV_TEST_CUT", std::string(600, 'v').c_str(), 1);

    EXPECT_EQ(text_of(clsgenv(longest.c_str())), std::string(511, 'v'));
    EXPECT_NE(clsenvlookup(longest.c_str()), nullptr);
    EXPECT_EQ(clsgenv(too_long.c_str()), nullptr);
    EXPECT_EQ(text_of(clsgenv("CLSGENV_TEST_CUT")), std::string(511, 'v'));
    EXPECT_EQ(clsgenv(nullptr), nullptr);
    EXPECT_EQ(clsgenv(""), nullptr);
    ::unsetenv(longest.c_str());
    ::unsetenv(too_long.c_str());
}

TEST(Clsgenv, HomeComesFromTheEnvironmentElseThereIsNone) {
    in_child([] {
        ::unsetenv("ZEL_VORN_HOME");
        EXPECT_EQ(clsgenv("ZEL_VORN_HOME"), nullptr);
        ::setenv("ZEL_VORN_HOME", "/opt/h", 1);
        EXPECT_EQ(text_of(clsgenv("ZEL_VORN_HOME")), "/opt/h");
    });
}

TEST(Clsgenv, WithoutRegistryEveryOperationFailsInItsOwnWay) {
    in_child([] {
        testing::internal::CaptureStdout();
        char value[CLSENV_MAX + 1] = "old";
        EXPECT_EQ(clsgenvzks("PATH", value), -1);
        EXPECT_EQ(clsgenvzks("ZEL_VORN_HOME", value), 1);
        EXPECT_STREQ(value, "");
        char connect_string[CLSGETCONNSTR_SIZE] = "old";
        EXPECT_EQ(clsgetconnstr("SYSTEM.vorn.uiport", connect_string), 1);
        EXPECT_STREQ(connect_string, "");
        EXPECT_EQ(clsgenvinit(), 1);
        clsgenvterm();
        clsgenvterm();
        EXPECT_EQ(testing::internal::GetCapturedStdout(), "");
    });
}

TEST(Clsgenv, ThreadsAgreeOnOneAnswer) {
    ::setenv("CLSGENV_TEST_THREADS", "shared", 1);
    std::vector<const char*> answers(8);
    {
        std::vector<std::thread> threads;
        for (auto& answer : answers)
            threads.emplace_back([&answer] { answer = clsgenv("CLSGENV_TEST_THREADS"); });
        for (auto& thread : threads) thread.join();
    }
    EXPECT_EQ(std::set<const char*>(answers.begin(), answers.end()).size(), 1u);
    EXPECT_EQ(text_of(answers[0]), "shared");
}

TEST(Clsgenv, SettingTheHome) {
    in_child([] {
        EXPECT_EQ(clssetzelmarhome("/opt/h"), 0);
        EXPECT_EQ(clssetzelmarhome(""), 1);
        EXPECT_EQ(clssetzelmarhome(nullptr), 1);
    });
}
