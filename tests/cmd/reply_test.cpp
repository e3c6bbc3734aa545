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

Container resource(const std::string& type, const std::vector<std::string>& states) {
    Container container = texts({"TYPE=" + type});
    container.SetMessage("STATE", texts(states));
    return container;
}

using Results = std::vector<std::pair<std::string, int>>;
using Texts = std::map<std::string, std::string>;

} // namespace

TEST(Reply, RecordsComeInOrderOfNames) {
    Container reply("UI_STAT");
    Container b1 = resource("application", {"=OFFLINE", "n2=ONLINE"});
    b1.SetMessage("TARGET", texts({"=ONLINE"}));
    b1.SetMessage("CURRENT_FAILURE", texts({"n1=1"}));
    b1.SetMessage("BOX", Container("its name"));
    reply.SetMessage("b1", b1);
    reply.SetMessage("a1", resource("vip", {}));
    reply.SetMessage("B1", Container());

    StatProbe command;
    EXPECT_EQ(command.take(reply), 0);
    ASSERT_EQ(command.m_statRecords.size(), 3u);
    EXPECT_EQ(command.m_statRecords[0].first, "B1");
    EXPECT_EQ(command.m_statRecords[1].first, "a1");
    EXPECT_EQ(command.m_statRecords[1].second.attributes, (Texts{{"TYPE", "vip"}}));
    const auto& [name, record] = command.m_statRecords[2];
    EXPECT_EQ(name, "b1");
    EXPECT_EQ(record.attributes, (Texts{{"TYPE", "application"}, {"BOX", "its name"}}));
    EXPECT_EQ(record.states, (Texts{{"", "OFFLINE"}, {"n2", "ONLINE"}}));
    EXPECT_EQ(record.targets, (Texts{{"", "ONLINE"}}));
    EXPECT_EQ(record.failures, (Texts{{"n1", "1"}}));
    EXPECT_EQ(command.m_results, Results{});
}

TEST(Reply, ResultAndErrorsBecomeNumbers) {
    struct Case {
        std::string result;
        bool record;
        int outcome;
        Results results;
    };
    const std::string huge(40, '9');
    const Case cases[] = {
        {"111", true, 0, {{"RESULT", 111}}}, {"202", false, 2, {{"RESULT", 202}}},
        {"202", true, 0, {{"RESULT", 202}}}, // "z1" comes after "RESULT"
        {"230", false, 0, {{"n7", 230}}},    {" -5 apples", false, 0, {{"RESULT", -5}}},
        {"none", false, 0, {{"RESULT", 0}}}, {huge, false, 0, {{"RESULT", 2147483647}}},
    };
    for (const Case& c : cases) {
        Container reply("UI_STAT");
        reply.SetProperty("RESULT", c.result);
        if (c.record) reply.SetMessage("z1", resource("vip", {}));
        StatProbe command;
        command.m_clusterMember = "n7";
        EXPECT_EQ(command.take(reply), c.outcome) << c.result;
        EXPECT_EQ(command.m_results, c.results) << c.result;
    }

    Container reply("UI_STAT");
    reply.SetMessage("ERROR", texts({"db1=210", "db0=x"}));
    reply.SetProperty("RESULT", "202");
    reply.SetMessage("A1", resource("vip", {}));
    StatProbe command;
    EXPECT_EQ(command.take(reply), 2);
    EXPECT_EQ(command.m_results, (Results{{"db0", 0}, {"db1", 210}, {"RESULT", 202}}));
    EXPECT_EQ(command.m_statRecords.size(), 1u);
}

TEST(Reply, TextsWhereContainersBelongArePassedOver) {
    Container reply("UI_STAT");
    reply.SetProperty("ERROR", "210");
    reply.SetProperty("db1", "ONLINE");
    Container flat = texts({"STATE=ONLINE", "TARGET=ONLINE", "CURRENT_FAILURE=1", "TYPE=vip"});
    reply.SetMessage("db2", flat);
    StatProbe command;
    EXPECT_EQ(command.take(reply), 0);
    ASSERT_EQ(command.m_statRecords.size(), 1u);
    const TAV::rtnData& record = command.m_statRecords[0].second;
    EXPECT_EQ(record.attributes, (Texts{{"TYPE", "vip"}}));
    EXPECT_TRUE(record.states.empty() && record.targets.empty() && record.failures.empty());
    EXPECT_TRUE(command.m_results.empty());
}

TEST(Reply, DamagedFramesAreRefusedOrShown) {
    Container reply("UI_STAT");
    Container record = resource("vip", {"n1=ONLINE"});
    record.SetProperty("ACL=owner:a:rwx,pgrp:b:r-x,other::r--");
    record.SetProperty("IS_RUNNABLE=1");
    reply.SetMessage("db1", record);
    reply.SetMessage("ERROR", texts({"db2=210"}));
    const std::vector<unsigned char> frame = TAV::MessageStream().encode(reply);
    int refused = 0;
    for (std::size_t bit = 0; bit < frame.size() * 8; bit += 3) {
        auto damaged = std::make_unique<unsigned char[]>(frame.size());
        std::copy(frame.begin(), frame.end(), damaged.get());
        damaged[bit / 8] = static_cast<unsigned char>(damaged[bit / 8] ^ (1U << bit % 8));
        try {
            const std::unique_ptr<TAV::Message> message(
                TAV::MessageStream(damaged.release(), static_cast<unsigned>(frame.size()))
                    .readMessage());
            if (const Container* read = TAV::asContainer(message.get())) show_as_every_form(*read);
        } catch (const TAV::IOException&) {
            ++refused;
        }
    }
    EXPECT_GT(refused, 0);
}

TEST(Reply, OutputComesBeforeTheMessages) {
    const CatalogHome home("111 Done.\n210 No '%s'.\n230 No member '%s'.\n");
    const auto shown = [&](int code, const Results& results) {
        return run_in_child([&] {
            home.enter();
            StatProbe command;
            command.logger.append("listing\n");
            command.logger.setRtnCode(code);
            command.m_results = results;
            std::vector<int> widths;
            command.getExtLog(widths);
            return *command.logger.getRtnCode();
        });
    };
    const Outcome listed = shown(0, {{"db1", 210}, {"n7", 230}, {"RESULT", 111}});
    EXPECT_EQ(listed.out, "listing\nVORN-0210: No 'db1'.\n\nVORN-0230: No member 'n7'.\n\n"
                          "VORN-0111: Done.\n\n");
    EXPECT_EQ(listed.status, 111);
    const Outcome failed = shown(184, {});
    EXPECT_EQ(failed.out + failed.err, "");
    EXPECT_EQ(failed.status, 184);
    EXPECT_EQ(shown(0, {}).out, "listing\n");
}
