#include "tav/msg/TavLogger.h"
#include "tests/cmd/child_run.h"
#include "tests/evm/daemon_support.h"

using namespace TAV;

namespace {

/// Runs `body` with a logger over a catalog of the test's own; compares what it printed and the
/// logger's return code.
void expect(tavLogRoute route, const std::function<void(TavLogger&)>& body, int code,
            const std::string& out, const std::string& err) {
    const CatalogHome home("150 No placeholder.\n210 No '%s'.\n");
    const Outcome outcome = outcome_of([&] {
        home.enter();
        TavLogger logger(route, "test.event");
        body(logger);
        return *logger.getRtnCode();
    });
    EXPECT_EQ(outcome.status, code);
    EXPECT_EQ(outcome.out, out);
    EXPECT_EQ(outcome.err, err);
}

} // namespace

TEST(Logger, MessageIsFollowedByAnEmptyLineAndBecomesTheReturnCode) {
    const auto body = [](TavLogger& logger) { logger.log(210, std::string("db1")); };
    const std::string text = "VORN-0210: No 'db1'.\n\n";
    expect(ROUTE_STDERR, body, 210, "", text);
    expect(ROUTE_STDOUT, body, 210, text, "");
    expect(tavLogRoute{7}, body, 210, "", text);
    const auto unknown = [](TavLogger& logger) { logger.log(ROUTE_STDERR, 77, "db1"); };
    expect(ROUTE_STDOUT, unknown, 77, "", "Message not found\n");
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
    expect(ROUTE_STDOUT, body, 0, "100%s\nb100%s\nb\n100%s\nb", "");
}

TEST(Logger, WhatCannotBePostedIsToldAndChangesNoReturnCode) {
    const auto quiet = [](TavLogger& logger) {
        int on = 1;
        logger.setEventSwitch(on);
        logger.log(150);
        logger.setEventName("not-a-name");
        logger.logOrigProc();
    };
    expect(ROUTE_STDOUT, quiet, 150, "",
           "Error creating connection to post event \"test.event\" return code = 13\n"
           "Error: Connection error\nEvm log has failed.\n"
           "Failed to create event 'not-a-name'\nError: Invalid value\nEvm log has failed.\n");
}

TEST(Logger, PostedTextReachesTheDaemonAndPrintsNothing) {
    const auto posted = [](std::uint32_t flags, const std::string& error) {
        char text[100] = "nothing came";
        {
            const ScriptedDaemon daemon([&](DaemonEnd& end) {
                Event event;
                end.welcome();
                end.answerPost(flags, event.out());
                EvmEventFormatFromTemplate(text, sizeof text, "@name: $TAV_LOG", event);
            });
            const auto body = [&](TavLogger& logger) {
                logger.append("10 %s\n");
                logger.append("20");
                logger.logOrigProc();
            };
            expect(ROUTE_EVENT, body, 0, "", error);
        }
        return std::string(text);
    };
    EXPECT_EQ(posted(0, ""), "test.event: 10 %s 20");
    EXPECT_EQ(posted(0x4, "Error posting event \"test.event\" return code = 17\n"
                          "Error: Event rejected\nEvm log has failed.\n"),
              "test.event: 10 %s 20");
}
