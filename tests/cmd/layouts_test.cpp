#include "tests/cmd/child_run.h"
#include "tests/cmd/stat_probe.h"

#include <gtest/gtest.h>

using TAV::rtnData;

namespace {

using Records = std::vector<std::pair<std::string, rtnData>>;

constexpr char TITLES[] = "101 Name\n102 Type\n103 Restarts so far\n104 Fails\n105 Target\n"
                          "106 State\n107 Node\n119 Owner\n121 Rights\n122 Primary group\n";

/// The output of a form over records, with the titles above.
std::string shown(int form, bool verbosely, const Records& records) {
    const CatalogHome home(TITLES);
    return run_in_child([&] {
               home.enter();
               StatProbe command;
               command.statRecords = records;
               command.render(form, verbosely);
               std::cout << command.logger.m_text;
               return 0;
           })
        .out;
}

std::string fitted(int width, std::string text) {
    StatProbe().formatDefaultString(width, text);
    return text;
}

const rtnData& db() {
    static const rtnData record{{{"AUTO_START", "always"},
                                 {"CURRENT_RCOUNT", "2"},
                                 {"FAILURE_COUNT", "8"},
                                 {"FAILURE_THRESHOLD", "5"},
                                 {"IS_RUNNABLE", "0"},
                                 {"NAME", "other name"},
                                 {"RESTART_ATTEMPTS", "5"},
                                 {"RESTART_COUNT", "9"},
                                 {"TYPE", "application"}},
                                {{"node1", "ONLINE"}, {"node2", "OFFLINE"}},
                                {{"", "ONLINE"}, {"node2", "OFFLINE"}},
                                {{"node1", "3"}}};
    return record;
}

} // namespace

TEST(Blocks, ShowWhatTheFormAsksFor) {
    const std::string nodes = "TARGET=ONLINE\nTARGET=OFFLINE on node2\n"
                              "STATE=ONLINE on node1\nSTATE=OFFLINE on node2\n\n";
    const std::string head = "NAME=db1\nTYPE=application\n";
    EXPECT_EQ(shown(1, false, {{"db1", db()}, {"db2", {}}}), head + nodes + "NAME=db2\nTYPE=\n\n");
    const std::string verbose =
        head + "AUTO_START=always\nRESTART_ATTEMPTS=5\nRESTART_COUNT=2\nRESTART_COUNT=9\n" +
        "FAILURE_THRESHOLD=5\nFAILURE_COUNT=3 on node1\n" + nodes;
    EXPECT_EQ(shown(1, true, {{"db1", db()}}), verbose);
    EXPECT_EQ(shown(6, true, {{"db1", db()}}), verbose);
    EXPECT_EQ(shown(3, false, {{"db1", db()}}),
              head + "AUTO_START=always\nFAILURE_COUNT=8\nFAILURE_THRESHOLD=5\n" +
                  "RESTART_ATTEMPTS=5\nRESTART_COUNT=2\nRESTART_COUNT=9\n\n");
    // A restart count without attempts has no line to follow.
    EXPECT_EQ(shown(1, true, {{"db1", {{{"CURRENT_RCOUNT", "2"}}, {}, {}, {}}}}),
              "NAME=db1\nTYPE=\nFAILURE_THRESHOLD=\n\n");
}

TEST(Columns, TextsAreFittedToTheirWidth) {
    EXPECT_EQ(fitted(15, "db.node1.listener"), "db.n...istener ");
    EXPECT_EQ(fitted(15, "exactly.15.char"), "exac...15.char ");
    EXPECT_EQ(fitted(15, "just14charsxxx"), "just14charsxxx ");
    EXPECT_EQ(fitted(7, "100/100"), "100/...");
    EXPECT_EQ(fitted(7, "1000000/1000000"), "1000...");
    EXPECT_EQ(fitted(8, "12345678"), "1234... ");
    EXPECT_EQ(fitted(10, ""), "          ");
    for (int width = -3; width < 40; ++width)
        for (std::size_t length = 0; length < 45; ++length)
            EXPECT_EQ(fitted(width, std::string(length, 'x')).size(),
                      static_cast<std::size_t>(std::max(width, 0)));
}

TEST(Table, OneRowForEachState) {
    const std::string head = "Name           Type           Target    State     Node        \n" +
                             std::string(60, '-') + "\n";
    EXPECT_EQ(shown(2, false, {{"db1", db()}, {"none", {}}}),
              head + "db1            application              ONLINE    node1       \n" +
                  "db1            application    OFFLINE   OFFLINE   node2       \n");
    EXPECT_EQ(shown(2, false, {{"none", {}}}), head);
    EXPECT_EQ(shown(2, false, {}), "");
}

TEST(Table, CountersAreShownWhenVerbose) {
    rtnData runnable = db();
    runnable.attributes["IS_RUNNABLE"] = "1";
    rtnData uncounted = runnable;
    uncounted.attributes.erase("CURRENT_RCOUNT");
    uncounted.failures.clear();
    uncounted.targets.clear();
    EXPECT_EQ(shown(2, true, {{"db1", db()}, {"db2", runnable}, {"db3", uncounted}}),
              "Name           Type           Rest...Fails  Target    State     Node        \n" +
                  std::string(70, '-') + "\n" +
                  "db1            application     -     3/5              ONLINE    node1       \n"
                  "db1            application     -     /5     OFFLINE   OFFLINE   node2       \n"
                  "db2            application    2/5    3/5    ONLINE    ONLINE    node1       \n"
                  "db2            application    2/5    3/5    ONLINE    OFFLINE   node2       \n"
                  "db3            application    9/5    /5               ONLINE    node1       \n"
                  "db3            application    9/5    /5               OFFLINE   node2       \n");
}

TEST(Permissions, ListIsTakenApart) {
    const std::pair<std::string, std::string> cases[] = {
        {"owner:alice:rwx,pgrp:dba:r-x,other::r--", "alice|dba|rwxr-xr--"},
        {"other::r--,pgrp:dba:r-x,user:bob:-w-,group:ops:-w-,owner:al:rwx", "al|dba|rwxr-xr--"},
        {"", "||"},
        {"pgrp:dba:r-x", "|dba|r-x"},
        {"other::r", "||r"},
        {"owner:alice:", "alice||"},
        {"owner:alice", "alice||"},
        {"owner::rwx,pgrp::", "||rwx"},
        {":::,,,owner:", "||"},
    };
    for (const auto& [acl, parts] : cases) {
        std::string owner, group, permissions;
        StatProbe().formatRWXString(acl, owner, group, permissions);
        EXPECT_EQ(owner + "|" + group + "|" + permissions, parts) << acl;
    }
}

TEST(Permissions, TableOfOwnersAndGroups) {
    const auto record = [](const std::string& acl) { return rtnData{{{"ACL", acl}}, {}, {}, {}}; };
    const std::string group24(24, 'g');
    EXPECT_EQ(shown(7, false,
                    {{"db1", record("owner:alice:rwx,pgrp:" + group24 + ":r-x,other::r--")},
                     {"db2", record("pgrp:" + group24 + "x:r-x")},
                     {"db3", {}}}),
              "Name           Owner          Primary group            Rights      \n" +
                  std::string(65, '-') + "\n" + "db1            alice          " + group24 +
                  " rwxr-xr--\n" + "db2                           gggg..." + std::string(16, 'g') +
                  "x r-x\n" + "db3" + std::string(52, ' ') + "\n");
}
