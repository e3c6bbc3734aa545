#include "tests/platform/clsc_support.h"

#include <future>

namespace {

/// What `blocked` answers when `end` is called from another thread while it waits; -1 when it does
/// not answer soon after.
int ended_by(const std::function<int()>& blocked, const std::function<void()>& end) {
    std::future<int> result = std::async(std::launch::async, blocked);
    nap(100);
    const Stopwatch watch;
    end();
    result.wait();
    return watch.ms() < 500 ? result.get() : -1;
}

int answer_result(const Handle& listener) {
    int result = -1;
    answer(listener, &result);
    return result;
}

std::ptrdiff_t open_descriptors() {
    const std::filesystem::directory_iterator entries("/proc/self/fd");
    return std::distance(begin(entries), end(entries));
}

} // namespace

TEST(ClscQuiesce, EndsWhatIsBlockedAndEverythingLater) {
    Link link("quiesce");
    const auto quiesce = [&link] { clscconquiesce(link.con.get(), 0); };
    EXPECT_EQ(ended_by([&] { return link.receive(100); }, quiesce), CLSC_INVALID);
    link.write(message(48));
    EXPECT_EQ(link.receive(100), CLSC_INVALID);
    EXPECT_EQ(send_message(link.con, message(48)), CLSC_INVALID);
    EXPECT_EQ(clscselect(shared_area(), nullptr, 5000, 0, CLSC_SELECT_FLAG), CLSC_OK);

    const Link sending("sending");
    EXPECT_EQ(ended_by([&] { return send_message(sending.con, message(1 << 23)); },
                       [&] { clscconquiesce(sending.con.get(), 0); }),
              CLSC_INVALID);
}

TEST(ClscQuiesce, EndsSelectAnswerAndConnecting) {
    // A connection belongs to the thread that made it, so the waiting thread makes its own.
    std::promise<clsccon*> made;
    const auto select = [&made] {
        const Link link("select");
        made.set_value(link.con.get());
        return clscselect(shared_area(), nullptr, 60000, 0, CLSC_SELECT_FLAG);
    };
    EXPECT_EQ(ended_by(select, [&] { clscconquiesce(made.get_future().get(), 0); }), CLSC_OK);

    const Handle listener = listen_at(ipc("answer"));
    EXPECT_EQ(ended_by([&] { return answer_result(listener); },
                       [&] { clscconquiesce(listener.get(), 0); }),
              CLSC_NOTHING);

    const platform::Descriptor full = raw_listener(endpoint_path("busy"), 0);
    const platform::Descriptor first = raw_client(endpoint_path("busy"));
    const Handle pending = connect_to(ipc("busy"), CLSC_OPT_ASYNC);
    EXPECT_EQ(ended_by([&] { return clscwaitconnectcompl(pending.get(), 60000, 0); },
                       [&] { clscconquiesce(pending.get(), 0); }),
              CLSC_INVALID);
}

TEST(ClscDisc, EndsWhatIsBlockedAndClosesOnce) {
    const std::ptrdiff_t before = open_descriptors();
    {
        Link link("disc");
        EXPECT_EQ(ended_by([&] { return link.receive(100); }, [&] { clscdisc(link.con.get()); }),
                  CLSC_INVALID);
        EXPECT_EQ(clscdisc(link.con.get()), CLSC_OK);
        EXPECT_EQ(send_message(link.con, message(48)), CLSC_INVALID);
    }
    EXPECT_EQ(open_descriptors(), before);
}

TEST(ClscThreads, ManyShareAnArea) {
    constexpr int THREADS = 6;
    constexpr int ROUNDS = 60;
    const std::ptrdiff_t before = open_descriptors();
    const auto ask = [] {
        for (int round = 0; round < ROUNDS; ++round) {
            const bool ends = round % 3 == 0;
            const Handle con = connect_to(ipc("many"), CLSC_OPT_LOCAL);
            // Another thread may end a connection at any moment, as when a node fails.
            std::thread end([&] { ends ? clscconquiesce(con.get(), 0) : 0; });
            clscmsgh got[2];
            send_message(con, message(80));
            clscselect(shared_area(), nullptr, 5000, 0, CLSC_SELECT_FLAG);
            const int result = clscreceive(con.get(), got, 80, 0, 0, CLSC_MODE_WAIT);
            EXPECT_TRUE(result == CLSC_OK || (ends && result == CLSC_INVALID)) << result;
            end.join();
        }
    };
    {
        const Handle listener = listen_at(ipc("many"));
        std::atomic<int> answered{0};
        const auto serve = [&] {
            while (const Handle con = answer(listener)) {
                clscmsgh got[2];
                if (clscreceive(con.get(), got, 80, 0, 0, CLSC_MODE_WAIT) == CLSC_OK)
                    send_message(con, message(80));
                if (++answered == THREADS * ROUNDS) clscconquiesce(listener.get(), 0);
            }
        };
        on_threads(2 * THREADS, [&](std::size_t i) { i % 2 == 0 ? ask() : serve(); });
        EXPECT_EQ(answered, THREADS * ROUNDS);
    }
    EXPECT_EQ(open_descriptors(), before);
}
