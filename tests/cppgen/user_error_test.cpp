#include "cppgen/clsUserErrorException.h"
#include "tests/cppgen/cppgen_support.h"

using cls::Exception;
using cls::UserErrorException;
using namespace node;

namespace {

const auto* const GERMAN = reinterpret_cast<const unsigned char*>("de");

class UserErrors : public ::testing::Test {
protected:
    static void SetUpTestSuite() {
        install_catalog(test_folder(), "en",
                        "1 %s: %d, %u, %f\n2 %(2)d of %(1)s\n3 %x and %s\n4 %s is lost %(1\n"
                        "5 100%% of %s, 50%\n6 %s and %s\n7 %n%s%n\n"
                        "8 %(99999999999999999999)s%(0)s%(x)s\n12345 plain\n");
        install_catalog(test_folder(), "de", "1 %s (%u): %d und %f\n2 %(1)s: %(2)d\n");
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

TEST_F(UserErrors, KeepTheirMessageWhenItCannotBeRendered) {
    UserErrorException error(12345);
    const Lines lines = logOf([&] {
        error.setMsgId(404);
        EXPECT_EQ(error.what(GERMAN), "VORN-12345: plain\n");
        EXPECT_EQ(UserErrorException(nullptr).what(GERMAN), "");
        const Exception cause("cause", Exception("below"));
        EXPECT_EQ(UserErrorException(cause, 404, "a").getEntireErrorStack(), "\ncause\nbelow");
    });
    EXPECT_EQ(lines, (Lines{"CLSCPPGEN:  Error: UserErrorException bad msg id in update 404",
                            "CLSCPPGEN:  Error: UserErrorException: Message can not be updated,"
                            "since lsfArgs is not correctly initted. Use correct contructor.",
                            "CLSCPPGEN:  UserErrorException: BAD MSG ID in set :404"}));
}

TEST_F(UserErrors, ReportTextsThatAskForTheWrongThings) {
    const std::string lead = "CLSCPPGEN:  UserErrorException: ";
    const std::string unsupported = lead + "UNSUPPORTED FORMAT SPECIFIER IN MESSAGE ";
    const std::string missing = lead + "MISSING ARGUMENT FOR MESSAGE ";
    const std::map<int, std::pair<std::string, Lines>> expected = {
        {3, {"%x and a", {unsupported + "[3]"}}},
        {4, {"a is lost %(1", {lead + "Incomplete position specifier in message [4]"}}},
        {5, {"100% of a, 50%", {unsupported + "[5]"}}},
        {6, {"a and ", {missing + "[6]"}}},
        {7, {"%na%n", {unsupported + "[7]", unsupported + "[7]"}}},
        {8, {"%(x)s", {missing + "[8]", missing + "[8]"}}},
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
    const FormatArgument other[] = {"tape", 6};
    original->setSeverity(3);
    original->setUserErrorException(9, 2, other);
    EXPECT_EQ(original->getSeverity(), 0);
    EXPECT_EQ(original->what() + std::to_string(original->getRc()), "VORN-0002: 6 of tape\n9");
    original.reset();
    std::thread([&assigned] { EXPECT_EQ(assigned.getPureMessage(GERMAN), "disk: 5"); }).join();
    EXPECT_EQ(copy.what(GERMAN), "VORN-0002: disk: 5\n");
    EXPECT_EQ(copy.what(), "VORN-0002: 5 of disk\n");
}

} // namespace
