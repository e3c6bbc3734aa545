#include "tav/ui/cmd/tavTagList.h"
#include "tav/ui/cmd/tavTagValue.h"
#include "tests/cmd/child_run.h"

using namespace TAV;

namespace {

using Words = std::vector<std::string>;

/// Offers the first word of a command line to an object: "result/index", the index being that of
/// the last word taken.
std::string offer(tavArg& arg, Words words) {
    std::vector<char*> argv;
    for (std::string& word : words) argv.push_back(word.data());
    int index = 0;
    const int result = arg.proc(index, static_cast<int>(words.size()) - 1, argv.data());
    return std::to_string(result) + "/" + std::to_string(index);
}

/// The object's status and request entries: "status;entry;entry;".
std::string held(tavArg& arg) {
    std::list<std::string> request;
    arg.setArgList(request);
    std::string all = std::to_string(arg.showStatus()) + ";";
    for (const std::string& entry : request) all += entry + ";";
    return all;
}

/// Both, one after the other: "result/index status;entry;entry;".
std::string taken(tavArg& arg, const Words& words) {
    const std::string first = offer(arg, words);
    return first + " " + held(arg);
}

} // namespace

TEST(Args, ValueTakesOneTrimmedToken) {
    tavValue value(4, "RESOURCE");
    EXPECT_TRUE(value.find("db1") && value.find("") && !value.find("-"));
    EXPECT_EQ(taken(value, {"   "}), "3/0 0;");
    EXPECT_EQ(taken(value, {" \tdb 1\t  "}), "0/0 4;RESOURCE=\tdb 1\t;");
    EXPECT_EQ(taken(value, {"db2"}), "3/0 4;RESOURCE=\tdb 1\t;");
    tavValue optional(4, ARG_OPTIONAL, "RESOURCE");
    EXPECT_EQ(taken(optional, {"  "}), "0/0 4;RESOURCE=;");
}

TEST(Args, OptionWithValue) {
    const auto parsed = [](arg_Status value, const Words& words) {
        tavTagValue option(1, ARG_OPTIONAL, value, "-c", "HOST");
        const std::string first = taken(option, words);
        // Whatever came of it, the option may appear once.
        EXPECT_EQ(offer(option, {"-c", "n8"}), "3/0");
        return first;
    };
    EXPECT_EQ(parsed(ARG_REQUIRED, {"-c", " n7 "}), "0/1 4;HOST_TAG=1;HOST=n7;");
    EXPECT_EQ(parsed(ARG_REQUIRED, {"-c"}), "3/0 0;HOST_TAG=1;");
    EXPECT_EQ(parsed(ARG_REQUIRED, {"-c", "-v"}), "3/1 0;HOST_TAG=1;");
    EXPECT_EQ(parsed(ARG_REQUIRED, {"-c", "  "}), "3/1 0;HOST_TAG=1;");
    EXPECT_EQ(parsed(ARG_OPTIONAL, {"-c"}), "0/0 4;HOST_TAG=1;");
    EXPECT_EQ(parsed(ARG_OPTIONAL, {"-c", "-v"}), "0/0 4;HOST_TAG=1;");
    EXPECT_EQ(parsed(ARG_OPTIONAL, {"-c", " "}), "0/1 4;HOST_TAG=1;HOST=;");
}

TEST(Args, OptionWithListTakesWhatIsNoOption) {
    tavTagList list(3, ARG_REQUIRED, ARG_OPTIONAL, "-p", "PRINT");
    EXPECT_EQ(taken(list, {"-p", "-q"}), "0/0 4;PRINT_TAG=1;");
    EXPECT_EQ(offer(list, {"-p", "a", " ", "-t", "b"}), "0/2");
    EXPECT_EQ(taken(list, {"-p", "c"}), "0/1 4;PRINT_TAG=1;PRINT=a\x01\x01"
                                        "c;");
    tavTagList required(3, ARG_REQUIRED, "-p", "PRINT");
    EXPECT_EQ(taken(required, {"-p", "-q"}), "3/1 0;PRINT_TAG=1;");
    EXPECT_EQ(offer(required, {"-p", "  "}), "3/1");
    EXPECT_EQ(taken(required, {"-p", "a", ""}), "0/2 4;PRINT_TAG=1;PRINT=a\x01;");
}

TEST(Args, ListCopiesAndForgetsItsValues) {
    tavList list(1, ARG_OPTIONAL, "RESOURCE");
    EXPECT_EQ(held(list), "1;");
    offer(list, {" db1"});
    list.enterArgValue("db2");
    std::list<std::string> copy{"x", "y", "z"};
    list.copyList(copy);
    EXPECT_EQ(copy, (std::list<std::string>{"db1", "db2"}));
    list.resetArgValue();
    EXPECT_EQ(held(list), "4;RESOURCE=;");
}

TEST(Args, ListFromStandardInput) {
    const auto read_from = [](const std::string& input) {
        const TestFolder folder;
        std::ofstream(folder.path / "in") << input;
        return outcome_of([&] {
                   if (!std::freopen((folder.path / "in").c_str(), "r", stdin)) return 1;
                   tavTagList list(1, ARG_REQUIRED, "-xi", "INPUT");
                   std::cout << taken(list, {"-xi", "db1"});
                   return 0;
               })
            .out;
    };
    EXPECT_EQ(read_from("\x01 a \x01\x01"
                        "b b\x01 \x01"),
              "0/0 4;INPUT_TAG=1;INPUT=a\x01"
              "b b\x01;");
    EXPECT_EQ(read_from(""), "0/0 4;INPUT_TAG=1;INPUT=;");
    EXPECT_EQ(read_from(std::string(5000, 'x')),
              "0/0 4;INPUT_TAG=1;INPUT=" + std::string(1023, 'x') + ";");
}
