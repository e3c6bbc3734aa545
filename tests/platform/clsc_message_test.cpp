#include "tests/platform/clsc_support.h"

#include <sys/socket.h>
#include <sys/time.h>

#include <optional>

namespace {

/// Signals the process over and over, so that whatever its first thread waits in is interrupted.
class Pester {
public:
    Pester() {
        struct sigaction action {};
        action.sa_handler = [](int) {};
        sigaction(SIGALRM, &action, nullptr);
        repeat(20'000);
    }
    ~Pester() { repeat(0); }

private:
    static void repeat(suseconds_t microseconds) {
        const itimerval timer{{0, microseconds}, {0, microseconds}};
        setitimer(ITIMER_REAL, &timer, nullptr);
    }
};

int select(std::uint64_t ms) {
    return clscselect(shared_area(), nullptr, ms, 0, CLSC_SELECT_FLAG);
}

} // namespace

TEST(ClscMessage, OneThatDoesNotFitIsKeptWhole) {
    Link link("short");
    const std::string large = message(5 * 1024 * 1024 + 7);
    std::thread writer([&] { link.write(large + message(50)); });
    for (const std::size_t length : {48U, 0U, 20U, 4096U, 60U, 1000000U, 5U * 1024 * 1024 + 6}) {
        EXPECT_EQ(link.receive(length), CLSC_SHORTBUF);
        EXPECT_EQ(link.buffer, large.substr(0, length) + ".");
    }
    EXPECT_EQ(link.receive(large.size()), CLSC_OK);
    EXPECT_EQ(link.buffer, large + ".");
    EXPECT_EQ(link.receive(50), CLSC_OK);
    EXPECT_EQ(link.buffer, message(50) + ".");
    writer.join();
}

TEST(ClscMessage, SizesOutsideTheLimitsBreakTheConnection) {
    for (const std::uint32_t size : {0U, CLSC_MIN_MESSAGE - 1, CLSC_MAX_MESSAGE + 1, ~0U}) {
        Link link("limits");
        link.write(message_announcing(size, 4));
        EXPECT_EQ(link.receive(4096), CLSC_INVALID) << size;
        EXPECT_EQ(link.receive(4096), CLSC_INVALID) << size;
        EXPECT_EQ(send_message(link.con, message(48)), CLSC_INVALID) << size;
        char byte = 0;
        EXPECT_EQ(recv(link.peer.get(), &byte, 1, 0), 0) << size;
    }
    Link link("limits");
    link.write(message_announcing(CLSC_MAX_MESSAGE, 48));
    EXPECT_EQ(link.receive(48), CLSC_SHORTBUF);
    EXPECT_EQ(send_message(link.con, message_announcing(49, 48)), CLSC_FATAL);
    EXPECT_EQ(send_message(link.con, message(47)), CLSC_FATAL);
    EXPECT_EQ(send_message(link.con, message(48)), CLSC_OK);
    EXPECT_EQ(clscsend(nullptr, nullptr, 48), CLSC_INVALID);
}

TEST(ClscMessage, EndBetweenAndInsideMessages) {
    for (const std::size_t cut : {0U, 3U, 47U, 60U}) {
        Link link("end");
        link.write(message(48) + message(100).substr(0, cut));
        link.peer.reset();
        EXPECT_EQ(link.receive(4096), CLSC_OK) << cut;
        EXPECT_EQ(link.receive(4096), CLSC_INVALID) << cut;
        EXPECT_EQ(send_message(link.con, message(48)), CLSC_INVALID) << cut;
    }
}

TEST(ClscMessage, OneThatIsBegunMustComeInTime) {
    Link link("slow");
    std::atomic<bool> stop{false};
    std::thread trickle([&] {
        for (std::size_t i = 0; !stop; ++i, nap(50)) link.write({message(4000)[i]});
    });
    const Stopwatch watch;
    EXPECT_EQ(link.receive(4096), CLSC_INVALID);
    EXPECT_GE(watch.ms(), 900);
    EXPECT_LT(watch.ms(), 5000);
    stop = true;
    trickle.join();
}

TEST(ClscMessage, SendToAPeerThatDoesNotReadEnds) {
    const Link link("deaf");
    const Stopwatch watch;
    EXPECT_EQ(send_message(link.con, message(8 * 1024 * 1024)), CLSC_INVALID);
    EXPECT_GE(watch.ms(), 900);
    EXPECT_LT(watch.ms(), 5000);
    EXPECT_EQ(send_message(link.con, message(48)), CLSC_INVALID);
}

TEST(ClscMessage, SignalsInterruptOnlyWhereNothingIsLost) {
    Link link("signals");
    std::thread writer([&] {
        nap(200);
        for (std::size_t i = 0; i < 5000; i += 1000, nap(100))
            link.write(message(5000).substr(i, 1000));
    });
    const Pester pester;
    int result = CLSC_INTERRUPTED;
    int interruptions = -1;
    for (; result == CLSC_INTERRUPTED; ++interruptions) result = link.receive(5000);
    EXPECT_EQ(result, CLSC_OK);
    EXPECT_EQ(link.buffer, message(5000) + ".");
    EXPECT_GT(interruptions, 0);
    // About twenty signals come inside the message, which must hold them back.
    EXPECT_LT(interruptions, 15);
    writer.join();
}

TEST(ClscSelect, KeptBeginningsAndEndedConnectionsAreInput) {
    std::optional<Link> first("first");
    Link link("kept");
    first.reset(); // the thread's other connection, which must not be taken for this one
    link.write(message(48));
    EXPECT_EQ(select(UINT64_MAX), CLSC_OK);
    EXPECT_EQ(link.receive(20), CLSC_SHORTBUF); // nothing of it is left in the socket
    EXPECT_EQ(select(0), CLSC_OK);
    EXPECT_EQ(link.receive(48), CLSC_OK);
    EXPECT_EQ(select(0), CLSC_TIMEOUT);
    link.peer.reset();
    EXPECT_EQ(select(10000), CLSC_OK);
    EXPECT_EQ(link.receive(100), CLSC_INVALID);
    clscdisc(link.con.get());
    EXPECT_EQ(select(10000), CLSC_INVALID);
}

TEST(ClscSelect, DeadlineHoldsUnderSignals) {
    const Link link("deadline");
    const Pester pester;
    const Stopwatch watch;
    EXPECT_EQ(select(300), CLSC_TIMEOUT);
    EXPECT_GE(watch.ms(), 300);
    EXPECT_LT(watch.ms(), 2000);
}

TEST(ClscSelect, OtherThreadsConnectionsAreNotWaitedFor) {
    const Link link("mine");
    link.write("x");
    std::thread([] {
        const Link theirs("theirs");
        EXPECT_EQ(select(50), CLSC_TIMEOUT);
        theirs.write("x");
        EXPECT_EQ(select(5000), CLSC_OK);
    }).join();
    EXPECT_EQ(select(0), CLSC_OK);
}
