#include "daemons/vornd/CheckHistory.h"
#include "daemons/vornd/CheckSchedule.h"
#include "daemons/vornd/Checks.h"
#include "daemons/vornd/RegistrySource.h"
#include "tests/daemons/daemons_support.h"

#include <gtest/gtest.h>

#include <csignal>
#include <filesystem>
#include <sstream>

using namespace vornd;
using namespace std::chrono_literals;

namespace {

using Time = CheckSchedule::Time;
using End = CheckReport::End;

TEST(Check, IsMadeOfAttributes) {
    const std::pair<const char*, const char*> table[] = {
        {"ACTION_SCRIPT=s\nCHECK_INTERVAL=5", "/scripts/s 5 60 0"},
        {"ACTION_SCRIPT=/a/s\nCHECK_INTERVAL= 7x\nSCRIPT_TIMEOUT=2\nFAILURE_INTERVAL=9",
         "/a/s 7 2 9"},
        {"ACTION_SCRIPT=s\nCHECK_INTERVAL=99999999999\nSCRIPT_TIMEOUT=99999",
         "/scripts/s 2147483647 3600 0"},
        {"ACTION_SCRIPT=s\nCHECK_INTERVAL=5\nHOSTING_MEMBERS=beta  alpha\nSCRIPT_TIMEOUT=-1",
         "/scripts/s 5 60 0"},
        {"ACTION_SCRIPT=s\nCHECK_INTERVAL=5\nHOSTING_MEMBERS= ", "/scripts/s 5 60 0"},
        {"ACTION_SCRIPT=s\nCHECK_INTERVAL=5\nHOSTING_MEMBERS=beta alpha2", ""},
        {"ACTION_SCRIPT=s\nCHECK_INTERVAL=0", ""},
        {"ACTION_SCRIPT=s\nCHECK_INTERVAL=-3", ""},
        {"ACTION_SCRIPT=s", ""},
        {"CHECK_INTERVAL=5", ""},
    };
    for (const auto& [lines, expected] : table) {
        const ResourceModel model = modelOf({std::string("NAME=a\nTYPE=t\n") + lines});
        std::ostringstream text;
        if (const auto check = checkOf(*model.find("a"), "alpha", "/scripts"))
            text << check->script << ' ' << check->interval.count() << ' ' << check->limit.count()
                 << ' ' << check->failureInterval.count();
        EXPECT_EQ(text.str(), expected) << lines;
    }
}

std::string profile(const std::string& name, int interval) {
    return "NAME=" + name + "\nTYPE=t\nACTION_SCRIPT=s\nCHECK_INTERVAL=" + std::to_string(interval);
}

TEST(CheckSchedule, KeepsARhythmAndNeverStartsTwice) {
    CheckSchedule schedule("alpha", "/scripts");
    const Time start{1000s};
    const auto begun = [&](Time now) {
        std::string names;
        while (const auto check = schedule.begin(now)) names += check->resource;
        return names;
    };
    const ResourceModel model = modelOf({profile("a", 10), profile("b", 10)});
    schedule.take(model, start);
    EXPECT_EQ(begun(start), "a") << "spread over the interval";
    EXPECT_EQ(schedule.next(), start + 5s);
    EXPECT_EQ(begun(start + 5s), "b");
    schedule.finished("b");
    EXPECT_EQ(begun(start + 17s), "b") << "a is still running";
    schedule.finished("a");
    schedule.finished("b");
    EXPECT_EQ(begun(start + 20s), "a");
    schedule.take(model, start + 21s);
    EXPECT_EQ(schedule.next(), start + 25s) << "known resources keep their times";
    schedule.take(modelOf({profile("a", 2), profile("c", 10)}), start + 21s);
    EXPECT_EQ(begun(start + 21s), "c");
    EXPECT_EQ(schedule.next(), start + 23s) << "a shorter interval counts at once";
    schedule.take(ResourceModel(), start + 22s);
    EXPECT_EQ(schedule.next(), Time::max());
    schedule.take(modelOf({profile("a", 10)}), start + 22s);
    EXPECT_EQ(begun(start + 22s), "") << "the one before it has not ended";
}

TEST(CheckHistory, CountsFailuresAndReturns) {
    constexpr CheckReport good{End::exited, 0}, bad{End::exited, 3}, hung{End::hung, 0};
    CheckHistory history;
    CheckValues values;
    const auto note = [&](const CheckReport& report, std::chrono::seconds interval = 0s,
                          Time now = Time{1000s}) {
        values = history.note(values, report, interval, now);
        history.written();
        return values.state + " " + std::to_string(values.failures) + " " +
               std::to_string(values.returns);
    };
    EXPECT_EQ(note(bad), "OFFLINE 0 0") << "was never online";
    EXPECT_EQ(note(good), "ONLINE 0 0");
    EXPECT_EQ(note(bad), "OFFLINE 1 0");
    EXPECT_EQ(note(bad), "OFFLINE 1 0");
    EXPECT_EQ(note(hung), "UNKNOWN 2 0");
    EXPECT_EQ(note(good), "ONLINE 2 1");
    EXPECT_EQ(note(good), "ONLINE 2 1");
    EXPECT_EQ(note(hung), "UNKNOWN 3 1") << "one failure, not two";
    values.failures = 0; // an operator's doing
    EXPECT_EQ(note(good), "ONLINE 0 2");
    const CheckValues owed = history.note(values, bad, 0s, Time{1000s}); // cannot be written
    EXPECT_EQ(owed, (CheckValues{"OFFLINE", 1, 2}));
    EXPECT_EQ(note(bad), "OFFLINE 1 2") << "counted once, and not lost";
    EXPECT_EQ(note(hung, 10s, Time{1000s}), "UNKNOWN 2 2");
    EXPECT_EQ(note(hung, 10s, Time{1005s}), "UNKNOWN 3 2");
    EXPECT_EQ(note(good, 10s, Time{1010s}), "ONLINE 3 3");
    EXPECT_EQ(note(good, 10s, Time{1011s}), "ONLINE 1 3");
    EXPECT_EQ(note(good, 10s, Time{1016s}), "ONLINE 0 3");
}

/// Real scripts below real supervisors.
class ChecksTest : public testing::Test {
protected:
    ChecksTest() {
        std::filesystem::remove_all(folder);
        std::filesystem::create_directory(folder);
    }
    void script(const std::string& name, const std::string& text) const {
        writeFile(folder + "/" + name, "#!/bin/sh\ncd " + folder + "\n" + text);
        std::filesystem::permissions(folder + "/" + name, std::filesystem::perms(0755));
        registry.resource(name, {"ACTION_SCRIPT=" + name, "CHECK_INTERVAL=1", "SCRIPT_TIMEOUT=1"});
    }
    void begin() {
        const char* const built = std::getenv("VORN_TEST_BIN");
        checks = std::make_unique<Checks>(
            CheckEnvironment{std::string(built == nullptr ? "." : built) + "/vornd",
                             "alpha",
                             folder,
                             {"PATH=/usr/bin:/bin"}});
        source =
            std::make_unique<RegistrySource>([this](const ModelPointer& m) { checks->take(m); });
        checks->take(source->snapshot());
        ASSERT_TRUE(source->start() && checks->start());
    }
    std::string value(const std::string& name, const char* attribute) const {
        return registry.text("VORN.CUR." + name + "." + attribute);
    }
    void reaches(const std::string& name, const char* attribute, const std::string& wanted) const {
        EXPECT_TRUE(eventually([&] { return value(name, attribute) == wanted; }))
            << name << " " << value(name, attribute);
    }
    /// Processes that the scripts wrote down in a file of theirs, and how many of them live.
    [[nodiscard]] std::size_t written(const std::string& file, std::size_t& alive) const {
        std::istringstream pids(readFile(folder + "/" + file));
        std::size_t count = 0;
        for (pid_t pid = 0; pids >> pid; ++count)
            if (kill(pid, 0) == 0) ++alive;
        return count;
    }

    TestRegistry registry{"zks", {"VORN.CUR", "VORN.SEC"}};
    const std::string folder = testFolder() + "/script";
    std::unique_ptr<Checks> checks;
    std::unique_ptr<RegistrySource> source; // before the checks, which it tells of models
};

constexpr const char* LEAVE_CHILDREN = "(trap '' TERM HUP; sleep 1000 & echo $! >>pids; wait) &\n"
                                       "setsid sh -c 'setsid sleep 1000 & echo $! $$ >>pids; "
                                       "sleep 1000' &\n"
                                       "sh -c '(setsid sleep 1000 & echo $! >>pids) &'\n"
                                       "while [ $(wc -w <pids) -lt 4 ]; do :; done\n";

TEST_F(ChecksTest, StatesFollowScripts) {
    script("web", "test \"$#\" = 1 -a \"$1\" = check && env | sort >env && test -e up");
    script("none", "");
    std::filesystem::remove(folder + "/none");
    registry.resource("idle", {"ACTION_SCRIPT=web", "CHECK_INTERVAL=0", "STATE@alpha=kept"});
    signal(SIGUSR1, SIG_IGN); // what a script inherits is not this program's
    begin();
    reaches("web", "STATE@alpha", "OFFLINE");
    reaches("none", "STATE@alpha", "UNKNOWN");
    EXPECT_TRUE(diagnosticLog().find("/none cannot be started: No such file") != std::string::npos);
    writeFile(folder + "/up", "");
    reaches("web", "STATE@alpha", "ONLINE");
    EXPECT_EQ(value("web", "CURRENT_FAILURE@alpha"), "-");
    std::filesystem::remove(folder + "/up");
    reaches("web", "STATE@alpha", "OFFLINE");
    EXPECT_EQ(value("web", "CURRENT_FAILURE@alpha"), "1");
    writeFile(folder + "/up", "");
    reaches("web", "STATE@alpha", "ONLINE");
    EXPECT_EQ(value("web", "CURRENT_RCOUNT"), "1");
    EXPECT_EQ(value("idle", "STATE@alpha"), "kept");
    EXPECT_EQ(readFile(folder + "/env"), "OLDPWD=/\nPATH=/usr/bin:/bin\nPWD=" + folder +
                                             "\nVORN_NODE=alpha\nVORN_RESOURCE=web\n");
    registry.remove("VORN.CUR.none");
    EXPECT_TRUE(eventually([&] { return source->snapshot()->find("none") == nullptr; }));
    reaches("web", "STATE@alpha", "ONLINE");
    EXPECT_EQ(value("none", "STATE@alpha"), "-") << "a check brings no resource back";
}

TEST_F(ChecksTest, NothingOfAScriptThatMisbehavesSurvives) {
    const std::string once = "mkdir $VORN_RESOURCE.d || exit 1\n: >>pids\n";
    script("hanging", once + "trap '' TERM HUP INT\n" + LEAVE_CHILDREN +
                          "echo $$ >>pids\nwhile :; do sleep 100; done\n");
    script("printing", "while :; do echo much; echo more >&2; done\n");
    script("crashing", "kill -SEGV $$\n");
    begin();
    std::size_t alive = 1;
    EXPECT_TRUE(eventually([&] { return written("pids", alive = 0) == 5; }));
    reaches("hanging", "CURRENT_FAILURE@alpha", "1");
    EXPECT_TRUE(eventually([&] { return written("pids", alive = 0) == 5 && alive == 0; })) << alive;
    for (const char* const name : {"printing", "crashing"}) reaches(name, "STATE@alpha", "UNKNOWN");
    reaches("crashing", "CURRENT_FAILURE@alpha", "2");
    for (const char* const line :
         {"/printing was ended: it took longer than it may", "/crashing was killed by signal 11"})
        EXPECT_TRUE(eventually([&] { return diagnosticLog().find(line) != std::string::npos; }));
}

TEST_F(ChecksTest, WhatACheckLeavesBehindEndsWithIt) {
    script("leaving", std::string(": >>pids\n") + LEAVE_CHILDREN + "echo done >>ends\n");
    registry.set("VORN.CUR.leaving.CHECK_INTERVAL", "1000");
    begin();
    reaches("leaving", "STATE@alpha", "ONLINE");
    std::size_t alive = 0;
    EXPECT_EQ(written("pids", alive), 4u);
    EXPECT_EQ(alive, 0u);
}

TEST_F(ChecksTest, StoppingEndsChecksUnderWay) {
    script("slow", std::string(": >>pids\n") + LEAVE_CHILDREN + "echo $$ >>pids\nsleep 1000\n");
    registry.set("VORN.CUR.slow.SCRIPT_TIMEOUT", "1000");
    begin();
    std::size_t alive = 0;
    EXPECT_TRUE(eventually([&] { return written("pids", alive) == 5; }));
    checks->stop();
    EXPECT_EQ(written("pids", alive = 0), 5u);
    EXPECT_EQ(alive, 0u);
    EXPECT_EQ(value("slow", "STATE@alpha"), "-") << "a check that was stopped says nothing";
}

} // namespace
