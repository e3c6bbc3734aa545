#include "tests/cmd/child_run.h"
#include "tests/cmd/stat_probe.h"

#include <gtest/gtest.h>

#include <chrono>

namespace {

using Words = std::vector<std::string>;

/// The request entries of a command line, each ended by ";", up to the primary group's value.
std::string request_of(const Words& words) {
    StatProbe command;
    if (command.parse(words) == 0) return "usage";
    EXPECT_EQ(command.setArgList(), 0);
    std::string all;
    for (const std::string& entry : command.m_requestEntries) all += entry + ";";
    return all.substr(0, all.rfind('=') + 1);
}

constexpr char COMMON[] = "TAV_VORN_LEGACY=true;LOCALE=;CLIENT_PRIMARY_GROUP=";

} // namespace

TEST(Forms, OneFormMustFit) {
    struct Case {
        int form;
        Words words;
    };
    const Case cases[] = {
        {1, {}},
        {1, {""}},
        {1, {"db1", "db2"}},
        {1, {"-v", "-l", "-q", "-c", "n1", "db1", "-v", "-l", "-q"}},
        {1, {"db1", "-c", " n1 ", "db2"}},
        {2, {"-t"}},
        {2, {"-t", "-v", "db1", "db2"}},
        {2, {"db1", "-t", "-t", "-q", "-c", "n1"}},
        {3, {"-p"}},
        {3, {"-p", "db1", "db2", "-q"}},
        {3, {"-p", "db1", "-p", "db2"}},
        {4, {"-g", "db1"}},
        {4, {"-a", "db1", "-g", "-g", "-a"}},
        {5, {"-r", "db1"}},
        {5, {"db1", "-a", "-r", "-c", "n1"}},
        {6, {"-f"}},
        {6, {"-f", "db1", "-q", "-c", "n1"}},
        {7, {"-ls"}},
        {7, {"-ls", "db1", "-q"}},
        {0, {"-"}},
        {0, {"-x"}},
        {0, {"--help"}},
        {0, {"-ls-"}},
        {0, {"-c"}},
        {0, {"-c", "-v"}},
        {0, {"-c", ""}},
        {0, {"-c", "n1", "-c", "n2"}},
        {0, {"-t", "-f"}},
        {0, {"-t", "-l"}},
        {0, {"-p", "-v"}},
        {0, {"db1", "-p"}},
        {0, {"db1", "-f"}},
        {0, {"-g"}},
        {0, {"-g", ""}},
        {0, {"-g", "db1", "db2"}},
        {0, {"-g", "-r", "db1"}},
        {0, {"-g", "db1", "-c", "n1"}},
        {0, {"-r", "db1", "-q"}},
        {0, {"-a", "db1"}},
        {0, {"-ls", "-c", "n1"}},
        {0, {"-ls", "-p"}},
    };
    for (const Case& c : cases) {
        StatProbe command;
        EXPECT_EQ(command.parse(c.words), c.form) << testing::PrintToString(c.words);
    }
}

TEST(Forms, QuietIsTakenFromAnyFormThatAcceptedIt) {
    StatProbe command;
    EXPECT_EQ(command.parse({"-g", "-q", "db1"}), 0);
    EXPECT_TRUE(command.m_quiet);
    StatProbe other;
    EXPECT_EQ(other.parse({"-g", "db1"}), 4);
    EXPECT_FALSE(other.m_quiet);
}

TEST(Forms, RequestEntriesFollowTheTable) {
    const std::pair<Words, std::string> cases[] = {
        {{}, "VERB_TAG=0;QUIET_TAG=0;LONG_TAG=0;HOST_TAG=0;"},
        {{"-l", "b", "-v", "a", "-c", "n1"},
         "RESOURCE=b\x01"
         "a;VERB_TAG=1;QUIET_TAG=0;LONG_TAG=1;HOST_TAG=1;HOST=n1;"},
        {{"-t", "-v", "db1", "db2"},
         "RESOURCE=db1\x01"
         "db2;VERB_TAG=1;QUIET_TAG=0;TAB_TAG=1;HOST_TAG=0;"},
        {{"-q", "-p", "a=b"}, "PRINT_TAG=1;PRINT=a=b;QUIET_TAG=1;"},
        {{"-p"}, "PRINT_TAG=1;QUIET_TAG=0;"},
        {{"db1", "-g"}, "ISREGISTERED_TAG=1;ACTIVITY_TAG=0;RESOURCE=db1;"},
        {{"-r", "-a", "db1", "-c", "n1"},
         "ISRUNNING_TAG=1;ACTIVITY_TAG=1;RESOURCE=db1;HOST_TAG=1;HOST=n1;"},
        {{"-f", "db1"}, "FULL_TAG=1;FULL=db1;QUIET_TAG=0;HOST_TAG=0;"},
        {{"-ls", "db1", "db2"},
         "LIST_TAG=1;LIST=db1\x01"
         "db2;QUIET_TAG=0;"},
    };
    for (const auto& [words, entries] : cases) EXPECT_EQ(request_of(words), entries + COMMON);
}

TEST(Forms, ParserCopesWithNoCommandLineAtAll) {
    StatProbe command;
    TAV::CmdParse(0, nullptr, &command.logger).initArgs(command.m_optionTable);
    EXPECT_EQ(command.scanArgs(), 0);
    EXPECT_EQ(command.m_form, 1);
    std::list<TAV::tavArg*> empty;
    char* none[] = {nullptr};
    TAV::CmdParse(1, none, &command.logger).initArgs(empty);
}

TEST(Forms, LongCommandLineIsParsedInLinearTime) {
    const Words words(100'000, "resource.name");
    StatProbe command;
    const auto start = std::chrono::steady_clock::now();
    EXPECT_EQ(command.parse(words), 1);
    // Some ten milliseconds when linear; anything quadratic takes minutes.
    EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::seconds(10));
    EXPECT_EQ(request_of({std::string(1'000'000, 'x')}).size(),
              std::string("RESOURCE=;VERB_TAG=0;QUIET_TAG=0;LONG_TAG=0;HOST_TAG=0;").size() +
                  1'000'000 + sizeof COMMON - 1);
}

TEST(Notices, UsageAndDeprecationNotice) {
    const CatalogHome home("173 Not shown.\n272 Kept.\n273 Use '%s', %s.\n");
    const Outcome loud = run_in_child([&] {
        home.enter();
        StatProbe().showUsage();
        return 0;
    });
    EXPECT_EQ(loud.out,
              "Use 'vornctl status resource', .\nKept.\n\n"
              "Usage:  vorn_stat [resource_name [...]] [-v] [-l] [-q] [-c cluster_member]\n"
              "        vorn_stat [resource_name [...]] -t [-v] [-q] [-c cluster_member]\n"
              "        vorn_stat -p [resource_name [...]] [-q]\n"
              "        vorn_stat [-a] application -g\n"
              "        vorn_stat [-a] application -r [-c cluster_member]\n"
              "        vorn_stat -f [resource_name [...]] [-q] [-c cluster_member]\n"
              "        vorn_stat -ls [resource_name [...]] [-q]\n\n");
    EXPECT_EQ(loud.err, "");

    const Outcome quiet = run_in_child([&] {
        home.enter();
        StatProbe command;
        command.m_quiet = true;
        command.showUsage();
        return 0;
    });
    EXPECT_EQ(quiet.out, "");
    EXPECT_EQ(quiet.err, "VORN-0173: Not shown.\n\n");
}
