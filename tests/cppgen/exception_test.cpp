#include "cppgen/clsUserErrorException.h"
#include "platform/include/diagnostics.h"
#include "tests/cppgen/cppgen_support.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <fstream>
#include <memory>
#include <sstream>
#include <thread>

using cls::BadIOException;
using cls::Exception;
using cls::UserErrorException;
using namespace node;

namespace {

Exception numbered(const std::string& message, int id) {
    Exception error(message);
    error.setMsgId(id);
    return error;
}

TEST(Exceptions, CarryTheirHistoryAsClones) {
    Exception first("first");
    first.appendToHistory(BadIOException("below"));
    const Exception second("second", first);
    EXPECT_EQ(second.getEntireErrorStack(), "second\nfirst\nbelow");
    EXPECT_EQ(second.getNestedErrorMessages().front()->getNestedErrorMessages().size(), 1U);

    Exception owner;
    std::list<Exception*> stack;
    second.getEntireErrorStack(stack);
    for (const Exception* const error : stack)
        owner.appendToHistory(*std::unique_ptr<const Exception>(error));
    EXPECT_EQ(owner.getEntireErrorStack(), "\nsecond\nfirst\nbelow");
}

TEST(Exceptions, AppendHistoriesEvenTheirOwn) {
    Exception source = numbered("source", 7);
    source.setRc(3);
    source.setSeverity(2);
    source.appendToHistory(Exception("a"));
    Exception target("target");
    target.appendToHistory(Exception("b"));
    EXPECT_EQ(&(target = source), &target);
    EXPECT_EQ(target.getMsgId() * 100 + target.getRc() * 10 + target.getSeverity(), 732);
    const Exception& same = target;
    target = same;
    EXPECT_EQ(target.getEntireErrorStack(), "source\nb\na");
    target = *target.getNestedErrorMessages().front();
    EXPECT_EQ(target.getEntireErrorStack(), "b\nb\na");
    target.appendToHistory(target.getNestedErrorMessages());
    target.appendToHistory(target);
    target.appendToHistory(std::list<Exception*>{nullptr});
    EXPECT_EQ(target.getEntireErrorStack(), "b\nb\na\nb\na\nb");
    EXPECT_EQ(target.getNestedErrorMessages().back()->getNestedErrorMessages().size(), 4U);
}

TEST(Exceptions, NestToAnyDepth) {
    constexpr int DEPTH = 300000; // beyond what a stack could hold
    Exception chain;
    // Built in place, as a chain that is cloned at every step takes forever.
    const Exception* end = &chain;
    for (int i = 1; i < DEPTH; ++i) {
        const_cast<Exception*>(end)->appendToHistory(Exception());
        end = end->getNestedErrorMessages().front();
    }
    int depth = 1;
    const std::unique_ptr<const Exception> copy(chain.clone());
    for (end = copy.get(); !end->getNestedErrorMessages().empty(); ++depth)
        end = end->getNestedErrorMessages().front();
    EXPECT_EQ(depth, DEPTH);
}

TEST(Exceptions, MatchTheLastNestedErrorAndPrintThemselves) {
    Exception error = numbered("top", 1);
    for (const char* const name : {"earlier", "later"}) error.appendToHistory(numbered(name, 2));
    error.appendToHistory(numbered("not me", 1));
    EXPECT_EQ(error.getMatchingException(1), &error);
    EXPECT_EQ(error.getMatchingException(2)->what(), "later");
    EXPECT_EQ(error.getMatchingException(3), nullptr);
    std::ostringstream out;
    BadIOException("bad").print(out);
    cls::NoMemoryException("none").print(out << '|');
    out << '|' << Exception(cls::raiseText("failed", "/a/b/clsTint.cpp", 12));
    EXPECT_EQ(out.str(), "BadIOException : bad|NoMemoryException : none|failed\n"
                         "(File: clsTint.cpp, line: 12\n");
}

const auto* const GERMAN = reinterpret_cast<const unsigned char*>("de");

class UserErrors : public ::testing::Test {
protected:
    static void SetUpTestSuite() {
        std::ofstream(folder() + "/en.msg")
            << "$set 1\n1 %s: %d, %u, %f\n2 %(2)d of %(1)s\n3 %x and %s\n4 %s is lost %(1\n"
               "5 100%% of %s, 50%\n6 %s and %s\n7 %n%s%n\n"
               "8 %(99999999999999999999)s%(0)s%(x)s\n12345 plain\n";
        std::ofstream(folder() + "/de.msg") << "$set 1\n1 %s (%u): %d und %f\n2 %(1)s: %(2)d\n";
        const std::string command =
            "cd " + folder() +
            " && mkdir -p vorn/mesg/en vorn/mesg/de && "
            "gencat vorn/mesg/en/VORN.cat en.msg && gencat vorn/mesg/de/VORN.cat de.msg";
        ASSERT_EQ(std::system(command.c_str()), 0);
    }
};

TEST_F(UserErrors, ConvertArgumentsToWhatTheConversionWants) {
    EXPECT_EQ(UserErrorException(1, std::string("disk"), -3, 4U, 0.1).what(),
              "VORN-0001: disk: -3, 4, 0.100000\n");
    EXPECT_EQ(UserErrorException(1, 5, "12x", -1, 16777217).getPureMessage(),
              "5: 12, 4294967295, 16777216.000000"); // a float has 24 bits
    const char* const none = nullptr;
    EXPECT_EQ(UserErrorException(1, none, 1e300, -1e300, 1e300).getPureMessage(),
              ": 9223372036854775807, 0, inf");
    EXPECT_EQ(UserErrorException(2, "disk", 5).getPureMessage(), "5 of disk");
    EXPECT_EQ(UserErrorException(12345, "unused").what(), "VORN-12345: plain\n");
}

TEST_F(UserErrors, RenderAgainOncePerChangeOfLanguage) {
    const Outcome child = inChild([] {
        clsd_change_level("CLSCPPGEN", 5);
        const UserErrorException error(2, "disk", 5);
        EXPECT_EQ(error.what(GERMAN), "VORN-0002: disk: 5\n");
        EXPECT_STREQ(error.getText(reinterpret_cast<const unsigned char*>("DE")),
                     "VORN-0002: disk: 5\n");
        EXPECT_EQ(error.getPureMessage(GERMAN), "disk: 5");
        EXPECT_EQ(error.getPureMessage() + error.what(), "5 of diskVORN-0002: 5 of disk\n");
    });
    EXPECT_EQ(mentions(child.log, "m_message is ["), 3U);
}

TEST_F(UserErrors, KeepTheirMessageWhenItCannotBeRendered) {
    UserErrorException error(12345);
    const Lines lines = logOf([&] {
        error.setMsgId(1);
        EXPECT_EQ(error.what(GERMAN), "VORN-12345: plain\n");
        error.setMsgId(404);
        EXPECT_EQ(error.what(), "VORN-12345: plain\n");
        EXPECT_EQ(UserErrorException(nullptr).what(GERMAN), "");
        const Exception cause("cause", Exception("below"));
        EXPECT_EQ(UserErrorException(cause, 404, "a").getEntireErrorStack(), "\ncause\nbelow");
    });
    EXPECT_EQ(lines, (Lines{"CLSCPPGEN:  Error: UserErrorException lsfpd failed: -1",
                            "CLSCPPGEN:  Error: UserErrorException bad msg id in update 404",
                            "CLSCPPGEN:  Error: UserErrorException: Message can not be updated,"
                            "since lsfArgs is not correctly initted. Use correct contructor.",
                            "CLSCPPGEN:  UserErrorException: BAD MSG ID in set :404"}));
}

TEST_F(UserErrors, ReportTextsThatAskForTheWrongThings) {
    const std::string lead = "CLSCPPGEN:  UserErrorException: ";
    const std::string unsupported = lead + "UNSUPPORTED FORMAT SPECIFIER IN MESSAGE ";
    const std::string missing = lead + "MISSING ARGUMENT FOR MESSAGE ";
    const std::string failed = "CLSCPPGEN:  Error: UserErrorException lsfpd failed: -1";
    const std::map<int, std::pair<std::string, Lines>> expected = {
        {3, {"", {unsupported + "[3]", failed}}},
        {4, {"a is lost %(1", {lead + "Incomplete position specifier in message [4]"}}},
        {5, {"100% of a, 50%", {unsupported + "[5]"}}},
        {6, {"", {missing + "[6]", failed}}},
        {7, {"%na%n", {unsupported + "[7]", unsupported + "[7]"}}},
        {8, {"", {missing + "[8]", missing + "[8]", failed}}},
    };
    for (const auto& entry : expected) {
        std::string message;
        const Lines log =
            logOf([&] { message = UserErrorException(entry.first, "a").getPureMessage(); });
        EXPECT_EQ(std::pair(message, log), entry.second);
    }
}

TEST_F(UserErrors, ShareTheirArgumentsWithCopies) {
    auto original = std::make_unique<UserErrorException>(2, std::string("disk"), 5);
    const UserErrorException copy(*original);
    UserErrorException assigned(12345);
    assigned = *original;
    const UserErrorException& same = assigned;
    assigned = same;
    const FormatArgument other[] = {"tape", 6};
    original->setSeverity(3);
    original->setUserErrorException(9, 2, other);
    EXPECT_EQ(original->getSeverity(), 0);
    EXPECT_EQ(original->what() + std::to_string(original->getRc()), "VORN-0002: 6 of tape\n9");
    original.reset();
    std::thread([&assigned] { EXPECT_EQ(assigned.getPureMessage(GERMAN), "disk: 5"); }).join();
    EXPECT_EQ(copy.what(GERMAN), "VORN-0002: disk: 5\n");
}

} // namespace
