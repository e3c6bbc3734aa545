#include "evm/libevm/exchange.h"
#include "evm/libevm/protocol.h"
#include "tav/msg/TavLogger.h"
#include "tests/cmd/child_run.h"
#include "tests/msg/msg_support.h"

#include <gtest/gtest.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <cstdlib>
#include <functional>
#include <thread>

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

/// An event daemon that answers one post with some flags.
class EventDaemon {
public:
    explicit EventDaemon(std::uint32_t flags) {
        sockaddr_un address{};
        address.sun_family = AF_UNIX;
        m_path.copy(address.sun_path, sizeof address.sun_path - 1);
        const void* const any = &address;
        EXPECT_EQ(bind(m_listener, static_cast<const sockaddr*>(any), sizeof address), 0);
        EXPECT_EQ(listen(m_listener, 1), 0);
        m_thread = std::thread([this, flags] { serve(flags); });
    }
    ~EventDaemon() {
        if (m_thread.joinable()) m_thread.join();
        close(m_listener);
        unlink(m_path.c_str());
    }
    EventDaemon(const EventDaemon&) = delete;
    EventDaemon& operator=(const EventDaemon&) = delete;

    /// The name and text of the event that was posted, empty when nobody came.
    std::string text() const {
        shutdown(m_listener, SHUT_RDWR);
        m_thread.join();
        return m_text;
    }

private:
    void serve(std::uint32_t flags) {
        const int fd = accept(m_listener, nullptr, nullptr);
        if (fd < 0) return;
        std::byte bytes[4096];
        const auto take = [&](std::size_t size) { return recv(fd, bytes, size, MSG_WAITALL); };
        take(evm::COMM_HEADER_SIZE);
        take(evm::CONNECT_FIXED_SIZE);
        const auto send = [&](EvmCommType_t type, std::uint32_t bits) {
            const auto header = evm::encodeHeader(type, bits, 0, 0, 1);
            ::send(fd, header.data(), header.size(), MSG_NOSIGNAL);
        };
        send(EvmCOMM_CONNECT_RSP, 0);
        take(evm::COMM_HEADER_SIZE);
        const auto length = evm::load<EvmCommHead_t>(bytes, 0).bodySize;
        const auto got = static_cast<std::size_t>(take(length));
        EvmEvent_t event = nullptr;
        EvmItemValue_t name{};
        char* value = nullptr;
        EXPECT_EQ(evm::_evmEventWrap(evm::Bytes(bytes, got), &event), EvmERROR_NONE);
        EXPECT_EQ(EvmItemGet(event, EvmITEM_NAME, &name), EvmERROR_NONE);
        EXPECT_EQ(EvmVarGetString(event, "TAV_LOG", &value, nullptr), EvmERROR_NONE);
        m_text = std::string(name.NAME) + ": " + value;
        EvmItemRelease(EvmITEM_NAME, name);
        std::free(value);
        EvmEventDestroy(event);
        send(EvmCOMM_POST_RSP, flags);
        close(fd);
    }

    std::string m_path = node_folder() + "/run/SYSTEM.evm.acceptor.auth";
    int m_listener = socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
    std::string m_text;
    mutable std::thread m_thread;
};

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
        const EventDaemon daemon(flags);
        const auto body = [&](TavLogger& logger) {
            logger.append("10 %s\n");
            logger.append("20");
            logger.logOrigProc();
        };
        expect(ROUTE_EVENT, body, 0, "", error);
        return daemon.text();
    };
    EXPECT_EQ(posted(0, ""), "test.event: 10 %s\n20");
    EXPECT_EQ(posted(0x4, "Error posting event \"test.event\" return code = 17\n"
                          "Error: Event rejected\nEvm log has failed.\n"),
              "test.event: 10 %s\n20");
}
