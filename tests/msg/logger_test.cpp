#include "platform/include/process.h"
#include "tav/msg/EventMgr.h"
#include "tav/msg/TavLogger.h"
#include "tests/cmd/child_run.h"

#include <fcntl.h>
#include <gtest/gtest.h>

#include <functional>

using namespace TAV;

namespace {

constexpr char TEXTS[] = "150 No placeholder.\n"
                         "210 Could not find '%s'.\n"
                         "211 %s, %s, %n and %d\n"
                         "212 %d%% of %99999999s\n";

/// Runs `body` with a logger over TEXTS; the child's status is the logger's return code.
Outcome logged(tavLogRoute route, const std::function<void(TavLogger&)>& body) {
    const CatalogHome home(TEXTS);
    return run_in_child([&] {
        home.enter();
        TavLogger logger(route, "test.event");
        body(logger);
        return *logger.getRtnCode();
    });
}

void expect(const Outcome& outcome, int status, const std::string& out, const std::string& err) {
    EXPECT_EQ(outcome.status, status);
    EXPECT_EQ(outcome.out, out);
    EXPECT_EQ(outcome.err, err);
}

/// Prints a listing twice while descriptor 1 is what `open_output` makes of it.
Outcome printed_to(const std::function<void()>& open_output, int code_before) {
    return logged(ROUTE_STDOUT, [&](TavLogger& logger) {
        scls_ignore_broken_pipes();
        open_output();
        logger.setRtnCode(code_before);
        logger.append("listing\n");
        logger.logOrigProc();
        logger.logOrigProc();
    });
}

} // namespace

TEST(Logger, MessageIsFollowedByAnEmptyLineAndBecomesTheReturnCode) {
    const auto body = [](TavLogger& logger) { logger.log(210, std::string("db1")); };
    const std::string text = "VORN-0210: Could not find 'db1'.\n\n";
    expect(logged(ROUTE_STDERR, body), 210, "", text);
    expect(logged(ROUTE_STDOUT, body), 210, text, "");
    expect(logged(tavLogRoute{7}, body), 210, "", text);
    expect(logged(ROUTE_STDOUT, [](TavLogger& logger) { logger.log(ROUTE_STDERR, 150); }), 150, "",
           "VORN-0150: No placeholder.\n\n");
}

TEST(Logger, CatalogTextsAreNoFormats) {
    const std::string longest(100'000, 'x');
    expect(logged(ROUTE_STDERR, [](TavLogger& logger) { logger.log(211, "one"); }), 211, "",
           "VORN-0211: one, , %n and \n\n");
    expect(logged(ROUTE_STDERR, [](TavLogger& logger) { logger.log(210); }), 210, "",
           "VORN-0210: Could not find ''.\n\n");
    expect(logged(ROUTE_STDERR, [](TavLogger& logger) { logger.log(150, "%s%n"); }), 150, "",
           "VORN-0150: No placeholder.\n\n");
    expect(logged(ROUTE_STDERR, [](TavLogger& logger) { logger.log(212, "%s", 5); }), 212, "",
           "VORN-0212: %s% of " + std::string(1023, ' ') + "5\n\n");
    expect(logged(ROUTE_STDERR, [&](TavLogger& logger) { logger.log(210, longest); }), 210, "",
           "VORN-0210: Could not find '" + longest + "'.\n\n");
}

TEST(Logger, UnknownMessageStillSetsTheReturnCode) {
    const auto body = [](TavLogger& logger) { logger.log(77, "db1"); };
    expect(logged(ROUTE_STDERR, body), 77, "", "Message not found\n");
}

TEST(Logger, CollectedTextIsReleasedAsItStands) {
    const auto body = [](TavLogger& logger) {
        logger.append("old");
        logger.set();
        logger.append("100%s");
        logger.append();
        logger.append("b");
        logger.logOrigProc();
        logger.logProc();
        logger.logOrigProc();
    };
    expect(logged(ROUTE_STDOUT, body), 0, "100%s\nb100%s\nb\n100%s\nb", "");
}

TEST(Logger, WithoutEventLibraryAPostedTextIsToldAsFailed) {
    const std::string failure = "Failed to create event 'test.event'\n"
                                "Error: event library not available\n"
                                "Evm log has failed.\n";
    const auto quiet = [](TavLogger& logger) {
        int on = 1;
        logger.setEventSwitch(on);
        logger.log(150);
    };
    expect(logged(ROUTE_STDOUT, quiet), 150, "", failure);
    expect(logged(ROUTE_EVENT, [](TavLogger& logger) { logger.logOrigProc(); }), 0, "", failure);

    const auto renamed = [](TavLogger& logger) {
        logger.setRtnCode(logger.sendLog("other") == 2 && logger.getEventName() == "other");
    };
    EXPECT_EQ(logged(ROUTE_EVENT, renamed).status, 1);
}

TEST(Logger, EventThatCannotBePostedIsTold) {
    const Outcome outcome = run_in_child([] {
        int status = 0;
        return EventMgr("test.event", TavLogger::TAV_LOGGER, &status).postEvent();
    });
    expect(outcome, 2, "",
           "Error creating connection to post event \"test.event\" return code = 1\n"
           "Error: event library not available\n");
}

TEST(Logger, OutputThatNobodyReceivesIsToldOnceAndFailsTheRun) {
    const std::string told = "vorn_stat: cannot write standard output: ";
    const auto full = [] { dup2(open("/dev/full", O_WRONLY), STDOUT_FILENO); };
    expect(printed_to(full, 0), 1, "", told + "No space left on device\n");
    expect(printed_to(full, 150), 150, "", told + "No space left on device\n");
    expect(printed_to([] { close(STDOUT_FILENO); }, 0), 1, "", told + "Bad file descriptor\n");
    const auto gone = [] {
        int ends[2];
        ASSERT_EQ(pipe(ends), 0);
        dup2(ends[1], STDOUT_FILENO);
        close(ends[0]);
    };
    expect(printed_to(gone, 0), 1, "", told + "Broken pipe\n");
}
