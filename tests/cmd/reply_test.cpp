#include "tav/comm/CommException.h"
#include "tav/comm/MessageStream.h"
#include "tests/cmd/child_run.h"
#include "tests/cmd/stat_probe.h"

#include <gtest/gtest.h>

#include <algorithm>

using TAV::Container;

namespace {

/// A container of texts, given as "key=value".
Container texts(const std::vector<std::string>& entries) {
    Container container;
    for (const std::string& entry : entries) container.SetProperty(entry);
    return container;
}

using Results = std::vector<std::pair<std::string, int>>;
using Texts = std::map<std::string, std::string>;

} // namespace

TEST(Reply, RecordsComeInOrderOfNames) {
    Container b1 = texts({"TYPE=application"});
    b1.SetMessage("STATE", texts({"=OFFLINE", "n2=ONLINE"}));
    b1.SetMessage("TARGET", texts({"=ONLINE"}));
    b1.SetMessage("CURRENT_FAILURE", texts({"n1=1"}));
    b1.SetMessage("BOX", Container("its name"));
    Container reply;
    reply.SetMessage("b1", b1);
    reply.SetMessage("a1", texts({"TYPE=vip"}));
    reply.SetMessage("B1", Container());

    StatProbe command;
    EXPECT_EQ(command.take(reply), 0);
    ASSERT_EQ(command.statRecords.size(), 3u);
    EXPECT_EQ(command.statRecords[0].first, "B1");
    EXPECT_EQ(command.statRecords[1].first, "a1");
    EXPECT_EQ(command.statRecords[1].second.attributes, (Texts{{"TYPE", "vip"}}));
    const auto& [name, record] = command.statRecords[2];
    EXPECT_EQ(name, "b1");
    EXPECT_EQ(record.attributes, (Texts{{"TYPE", "application"}, {"BOX", "its name"}}));
    EXPECT_EQ(record.states, (Texts{{"", "OFFLINE"}, {"n2", "ONLINE"}}));
    EXPECT_EQ(record.targets, (Texts{{"", "ONLINE"}}));
    EXPECT_EQ(record.failures, (Texts{{"n1", "1"}}));
}

TEST(Reply, ResultAndErrorsBecomeNumbers) {
    // A record before the result ("A1") leaves its outcome, one after it ("z1") changes it.
    const auto check = [](const std::string& result, const std::string& record,
                          const std::vector<std::string>& errors, int outcome,
                          const Results& results) {
        Container reply;
        reply.SetProperty("RESULT", result);
        if (!record.empty()) reply.SetMessage(record, Container());
        if (!errors.empty()) reply.SetMessage("ERROR", texts(errors));
        StatProbe command;
        command.clusterMember = "n7";
        EXPECT_EQ(command.take(reply), outcome) << result << record;
        EXPECT_EQ(command.results, results) << result;
    };
    check("111", "z1", {}, 0, {{"RESULT", 111}});
    check("202", "", {}, 2, {{"RESULT", 202}});
    check("202", "z1", {}, 0, {{"RESULT", 202}});
    check("202", "A1", {"db1=210", "db0=x"}, 2, {{"db0", 0}, {"db1", 210}, {"RESULT", 202}});
    check("230", "", {}, 0, {{"n7", 230}});
    check(" -5 apples", "", {}, 0, {{"RESULT", -5}});
    check("none", "", {}, 0, {{"RESULT", 0}});
    check(std::string(40, '9'), "", {}, 0, {{"RESULT", 2147483647}});
}

TEST(Reply, TextsWhereContainersBelongArePassedOver) {
    Container reply = texts({"ERROR=210", "db1=ONLINE"});
    reply.SetMessage("db2", texts({"STATE=ONLINE", "TARGET=ONLINE", "CURRENT_FAILURE=1", "T=v"}));
    StatProbe command;
    EXPECT_EQ(command.take(reply), 0);
    ASSERT_EQ(command.statRecords.size(), 1u);
    const TAV::rtnData& record = command.statRecords[0].second;
    EXPECT_EQ(record.attributes, (Texts{{"T", "v"}}));
    EXPECT_TRUE(record.states.empty() && record.targets.empty() && record.failures.empty());
    EXPECT_TRUE(command.results.empty());
}

TEST(Reply, DamagedFramesAreRefusedOrShown) {
    Container record = texts({"ACL=owner:a:rwx,pgrp:b:r-x,other::r--", "IS_RUNNABLE=1"});
    record.SetMessage("STATE", texts({"n1=ONLINE"}));
    Container reply;
    reply.SetMessage("db1", record);
    reply.SetMessage("ERROR", texts({"db2=210"}));
    const std::vector<unsigned char> frame = TAV::MessageStream().encode(reply);
    int refused = 0;
    for (std::size_t bit = 0; bit < frame.size() * 8; bit += 3) {
        auto damaged = std::make_unique<unsigned char[]>(frame.size());
        std::copy(frame.begin(), frame.end(), damaged.get());
        damaged[bit / 8] = static_cast<unsigned char>(damaged[bit / 8] ^ (1U << bit % 8));
        TAV::MessageStream stream(damaged.release(), static_cast<unsigned>(frame.size()));
        try {
            const std::unique_ptr<TAV::Message> message(stream.readMessage());
            if (const Container* read = TAV::asContainer(message.get())) show_as_every_form(*read);
        } catch (const TAV::IOException&) {
            ++refused;
        }
    }
    EXPECT_GT(refused, 0);
}

TEST(Reply, OutputComesBeforeTheMessages) {
    const CatalogHome home("111 Done.\n210 No '%s'.\n");
    const auto shown = [&](int code, const Results& results) {
        return run_in_child([&] {
            home.enter();
            StatProbe command;
            command.logger.append("listing\n");
            command.logger.setRtnCode(code);
            command.results = results;
            std::vector<int> widths;
            command.getExtLog(widths);
            return *command.logger.getRtnCode();
        });
    };
    const Outcome listed = shown(0, {{"db1", 210}, {"RESULT", 111}});
    EXPECT_EQ(listed.out, "listing\nVORN-0210: No 'db1'.\n\nVORN-0111: Done.\n\n");
    EXPECT_EQ(listed.status, 111);
    EXPECT_EQ(shown(184, {}).out, "");
    EXPECT_EQ(shown(0, {}).out, "listing\n");
}
