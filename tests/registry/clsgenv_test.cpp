#include "tav/registry/clsgenv.h"
#include "tests/support/test_node.h"

#include <set>

namespace {

std::string text_of(const char* text) {
    return text == nullptr ? "(null)" : text;
}

std::string answer(const std::string& name) {
    return text_of(clsgenv(name.c_str()));
}

} // namespace

TEST(Clsgenv, FirstAnswerIsKeptAtOneAddress) {
    ::setenv("CLSGENV_TEST_AB", "longer name", 1);
    ::unsetenv("CLSGENV_TEST_A");
    EXPECT_EQ(answer("CLSGENV_TEST_A"), "(null)");
    ::setenv("CLSGENV_TEST_A", "", 1);
    EXPECT_EQ(answer("CLSGENV_TEST_A"), "(null)");
    ::setenv("CLSGENV_TEST_A", "first", 1);
    const char* first = clsgenv("CLSGENV_TEST_A");
    EXPECT_EQ(text_of(first), "first");
    ::setenv("CLSGENV_TEST_A", "second", 1);
    EXPECT_EQ(answer("CLSGENV_TEST_AB"), "longer name");
    EXPECT_EQ(clsgenv("CLSGENV_TEST_A"), first);
    EXPECT_EQ(text_of(first), "first");
}

TEST(Clsgenv, NamesAndValuesAtTheirLimit) {
    const std::string longest(CLSENV_MAX, 'N');
    for (const std::string& name : {longest, longest + "N"})
        ::setenv(name.c_str(), std::string(600, 'v').c_str(), 1);
    EXPECT_EQ(answer(longest), std::string(511, 'v'));
    EXPECT_NE(clsenvlookup(longest.c_str()), nullptr);
    EXPECT_EQ(answer(longest + "N"), "(null)");
    EXPECT_EQ(clsgenv(nullptr), nullptr);
    EXPECT_EQ(answer(""), "(null)");
}

TEST(Clsgenv, WithoutRegistryEveryOperationFailsInItsOwnWay) {
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
    EXPECT_EQ(clssetzelmarhome(""), 1);
    EXPECT_EQ(testing::internal::GetCapturedStdout(), "");
}

TEST(Clsgenv, ThreadsAgreeOnOneAnswer) {
    ::setenv("CLSGENV_TEST_THREADS", "shared", 1);
    std::vector<const char*> answers(8);
    on_threads(answers.size(),
               [&](std::size_t i) { answers[i] = clsgenv("CLSGENV_TEST_THREADS"); });
    EXPECT_EQ(std::set<const char*>(answers.begin(), answers.end()).size(), 1u);
    EXPECT_EQ(text_of(answers[0]), "shared");
}
