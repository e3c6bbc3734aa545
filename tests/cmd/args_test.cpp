#include "tav/ui/cmd/tavTagList.h"
#include "tav/ui/cmd/tavTagValue.h"
#include "tav/ui/cmd/tavTrash.h"
#include "tests/cmd/child_run.h"

#include <gtest/gtest.h>

#include <functional>

using namespace TAV;

namespace {

/// A command line offered to one object from `index` on.
struct Line {
    explicit Line(std::vector<std::string> given) : words(std::move(given)) {
        for (std::string& word : words) argv.push_back(word.data());
    }
    int offer(tavArg& arg) {
        return arg.proc(index, static_cast<int>(words.size()) - 1, argv.data());
    }

    std::vector<std::string> words;
    std::vector<char*> argv;
    int index = 0;
};

std::vector<std::string> entries(tavArg& arg) {
    std::list<std::string> request;
    arg.setArgList(request);
    return {request.begin(), request.end()};
}

using Entries = std::vector<std::string>;

} // namespace

TEST(Args, FlagMatchesWholeWordAndMayBeRepeated) {
    tavTag flag(1, ARG_OPTIONAL, "-t", "TAB");
    EXPECT_TRUE(flag.find("-t"));
    EXPECT_FALSE(flag.find("-tt"));
    EXPECT_EQ(entries(flag), Entries{"TAB_TAG=0"});
    EXPECT_EQ(flag.showArgValue(), "0");
    Line line({"-t"});
    EXPECT_EQ(line.offer(flag), 0);
    EXPECT_EQ(line.offer(flag), 0);
    EXPECT_EQ(flag.showStatus(), ARG_FOUND);
    EXPECT_EQ(flag.showArgValue(), "1");
    EXPECT_EQ(entries(flag), Entries{"TAB_TAG=1"});
    EXPECT_EQ(tavTag(1, "-t", "TAB").showStatus(), ARG_REQUIRED);
}

TEST(Args, ValueTakesOneTrimmedToken) {
    tavValue value(4, "RESOURCE");
    EXPECT_TRUE(value.find("db1"));
    EXPECT_TRUE(value.find(""));
    EXPECT_FALSE(value.find("-"));
    EXPECT_EQ(Line({"   "}).offer(value), 3);
    EXPECT_EQ(value.showStatus(), ARG_REQUIRED);
    EXPECT_EQ(entries(value), Entries{});
    EXPECT_EQ(Line({" \tdb 1\t  "}).offer(value), 0);
    EXPECT_EQ(entries(value), Entries{"RESOURCE=\tdb 1\t"});
    EXPECT_EQ(Line({"db2"}).offer(value), 3);
    EXPECT_EQ(value.showArgValue(), "\tdb 1\t");

    tavValue optional(4, ARG_OPTIONAL, "RESOURCE");
    EXPECT_EQ(Line({"  "}).offer(optional), 0);
    EXPECT_EQ(entries(optional), Entries{"RESOURCE="});
}

TEST(Args, OptionWithValue) {
    struct Case {
        std::vector<std::string> words;
        int result, index;
        arg_Status status;
        Entries entries;
    };
    const Case required[] = {
        {{"-c", " n7 "}, 0, 1, ARG_OPTIONAL, {"HOST_TAG=1", "HOST=n7"}},
        {{"-c"}, 3, 0, ARG_REQUIRED, {"HOST_TAG=1"}},
        {{"-c", "-v"}, 3, 1, ARG_REQUIRED, {"HOST_TAG=1"}},
        {{"-c", "  "}, 3, 1, ARG_REQUIRED, {"HOST_TAG=1"}},
    };
    for (const Case& c : required) {
        tavTagValue option(1, ARG_OPTIONAL, ARG_REQUIRED, "-c", "HOST");
        Line line(c.words);
        EXPECT_EQ(line.offer(option), c.result);
        EXPECT_EQ(line.index, c.index);
        EXPECT_EQ(option.showStatus(), c.result == 0 ? ARG_FOUND : c.status);
        EXPECT_EQ(entries(option), c.entries);
        // The option may appear once, whatever came of it.
        EXPECT_EQ(Line({"-c", "n8"}).offer(option), 3);
    }
    const Case optional[] = {
        {{"-c"}, 0, 0, ARG_FOUND, {"HOST_TAG=1"}},
        {{"-c", "-v"}, 0, 0, ARG_FOUND, {"HOST_TAG=1"}},
        {{"-c", " "}, 0, 1, ARG_FOUND, {"HOST_TAG=1", "HOST="}},
    };
    for (const Case& c : optional) {
        tavTagValue option(1, ARG_OPTIONAL, "-c", "HOST");
        Line line(c.words);
        EXPECT_EQ(line.offer(option), c.result);
        EXPECT_EQ(line.index, c.index);
        EXPECT_EQ(option.showStatus(), c.status);
        EXPECT_EQ(entries(option), c.entries);
    }
}

TEST(Args, OptionWithListTakesWhatIsNoOption) {
    tavTagList list(3, ARG_REQUIRED, ARG_OPTIONAL, "-p", "PRINT");
    Line line({"-p", "a", " ", "-t", "b", "-p", "c"});
    EXPECT_EQ(line.offer(list), 0);
    EXPECT_EQ(line.index, 2);
    line.index = 5;
    EXPECT_EQ(line.offer(list), 0);
    EXPECT_EQ(entries(list), (Entries{"PRINT_TAG=1", "PRINT=a\x01\x01"
                                                     "c"}));

    tavTagList none(3, ARG_REQUIRED, ARG_OPTIONAL, "-p", "PRINT");
    EXPECT_EQ(Line({"-p", "-q"}).offer(none), 0);
    EXPECT_EQ(none.showStatus(), ARG_FOUND);
    EXPECT_EQ(entries(none), Entries{"PRINT_TAG=1"});

    tavTagList required(3, ARG_REQUIRED, "-p", "PRINT");
    EXPECT_EQ(Line({"-p", "-q"}).offer(required), 3);
    EXPECT_EQ(required.showStatus(), ARG_REQUIRED);
    EXPECT_EQ(Line({"-p", "  "}).offer(required), 3);
    EXPECT_EQ(Line({"-p", "a", ""}).offer(required), 0);
    EXPECT_EQ(entries(required), (Entries{"PRINT_TAG=1", "PRINT=a\x01"}));
}

TEST(Args, ListOperations) {
    tavList list(1, ARG_OPTIONAL, "RESOURCE");
    EXPECT_EQ(entries(list), Entries{});
    EXPECT_EQ(Line({" db1"}).offer(list), 0);
    list.enterArgValue("db2");
    std::list<std::string> copy{"x", "y", "z"};
    list.copyList(copy);
    EXPECT_EQ(copy, (std::list<std::string>{"db1", "db2"}));
    EXPECT_EQ(entries(list), Entries{"RESOURCE=db1\x01"
                                     "db2"});
    EXPECT_EQ(list.showArgValue(), "RESOURCE");
    list.resetArgValue();
    EXPECT_EQ(list.showStatus(), ARG_FOUND);
    EXPECT_EQ(entries(list), Entries{"RESOURCE="});
}

TEST(Args, ListFromStandardInput) {
    const auto read_from = [](const std::string& input) {
        return run_in_child([&] {
                   std::FILE* file = std::tmpfile();
                   std::fwrite(input.data(), 1, input.size(), file);
                   std::rewind(file);
                   dup2(fileno(file), STDIN_FILENO);
                   tavTagList list(1, ARG_REQUIRED, "-xi", "INPUT");
                   Line line({"-xi", "db1"});
                   const bool sound =
                       line.offer(list) == 0 && line.index == 0 && list.showStatus() == ARG_FOUND;
                   std::cout << (sound ? entries(list).back() : "unsound");
                   return 0;
               })
            .out;
    };
    EXPECT_EQ(read_from("\x01 a \x01\x01"
                        "b b\x01 \x01"),
              "INPUT=a\x01"
              "b b\x01");
    EXPECT_EQ(read_from(""), "INPUT=");
    EXPECT_EQ(read_from(std::string(5000, 'x')), "INPUT=" + std::string(1023, 'x'));
}

TEST(Args, TrashCatchesEverythingAndMakesTheFormInvalid) {
    tavTrash trash(7, "TRASH");
    EXPECT_TRUE(trash.find(""));
    EXPECT_EQ(trash.showStatus(), ARG_OPTIONAL);
    EXPECT_EQ(entries(trash), Entries{});
    EXPECT_EQ(Line({"-x"}).offer(trash), 0);
    EXPECT_EQ(Line({"-y"}).offer(trash), 0);
    EXPECT_EQ(trash.showStatus(), ARG_INVALID);
    EXPECT_EQ(entries(trash), Entries{"TRASH-y"});
}
