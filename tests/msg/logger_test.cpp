#include "tav/msg/EventMgr.h"
#include "tav/msg/TavLogger.h"
#include "tests/cmd/child_run.h"

#include <gtest/gtest.h>

#include <functional>

using namespace TAV;

namespace {

/// Runs `body` with a logger over a catalog of the test's own; compares what it printed and the
/// logger's return code.
void expect(tavLogRoute route, const std::function<void(TavLogger&)>& body, int code,
            const std::string& out, const std::string& err) {
    const CatalogHome home("150 No placeholder.\n210 No '%s'.\n211 %s, %s, %n and %d\n"
                           "212 %d%% of %99999999s\n");
    const Outcome outcome = run_in_child([&] {
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

TEST(Logger, CatalogTextsAreNoFormats) {
    const std::string longest(100'000, 'x');
    const auto body = [&](TavLogger& logger) {
        logger.log(211, "one");
        logger.log(210);
        logger.log(212, "%s", 5);
        logger.log(210, longest);
        logger.log(150, "%s%n");
    };
    expect(ROUTE_STDERR, body, 150, "",
           "VORN-0211: one, , %n and \n\nVORN-0210: No ''.\n\nVORN-0212: %s% of " +
               std::string(1023, ' ') + "5\n\nVORN-0210: No '" + longest +
               "'.\n\nVORN-0150: No placeholder.\n\n");
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

TEST(Logger, WithoutEventLibraryAPostedTextIsToldAsFailed) {
    const std::string reason = "Error: event library not available\n";
    const std::string failure = "'\n" + reason + "Evm log has failed.\n";
    const auto quiet = [](TavLogger& logger) {
        int on = 1;
        logger.setEventSwitch(on);
        logger.log(150);
    };
    expect(ROUTE_STDOUT, quiet, 150, "", "Failed to create event 'test.event" + failure);
    const auto renamed = [](TavLogger& logger) {
        logger.setEventName("other");
        logger.logOrigProc();
    };
    expect(ROUTE_EVENT, renamed, 0, "", "Failed to create event 'other" + failure);
    const auto posted = [](TavLogger& logger) {
        logger.setRtnCode(EventMgr("e", TavLogger::TAV_LOGGER, nullptr).postEvent());
    };
    expect(ROUTE_STDERR, posted, 2, "",
           "Error creating connection to post event \"e\" return code = 1\n" + reason);
}
