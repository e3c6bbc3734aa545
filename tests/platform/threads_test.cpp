#include "platform/include/clock.h"
#include "platform/include/diagnostics.h"
#include "platform/include/threads.h"
#include "platform/include/tint_text.h"

#include <signal.h>

#include <atomic>
#include <cerrno>
#include <functional>

namespace {

using Body = std::function<void()>;

/// Runs `body` on `count` threads of their own until they end.
void onThreads(Body body, int count = 1, unsigned stackSize = 0) {
    std::vector<sltsthnd> handles(static_cast<std::size_t>(count));
    const auto call = [](void* function) { (*static_cast<Body*>(function))(); };
    for (sltsthnd& handle : handles)
        ASSERT_EQ(0, ext_cls_thrSpawn(call, &body, nullptr, &handle, stackSize, CLS_THR_JOINABLE));
    for (sltsthnd& handle : handles) EXPECT_EQ(0, ext_cls_thrJoin(&handle));
}

} // namespace

TEST(Threads, StaticMutexesAreRecursiveAndExclude) {
    static constinit cls_thrIMx mutex;
    int counter = 0;
    const auto count = [&] {
        for (int round = 0; round < 10'000; ++round) {
            const StaticLock outer(mutex);
            const StaticLock inner(mutex);
            ++counter;
        }
    };
    onThreads(count, 4);
    EXPECT_EQ(40'000, counter);
}

TEST(Threads, ConditionWakesWaiters) {
    cls_thrMx mutex = nullptr;
    cls_thrCvt changed = nullptr;
    ASSERT_EQ(0, cls_thrMxinit(&mutex));
    ASSERT_EQ(0, cls_thrCvtinit(&changed));
    int arrived = 0;
    const auto meet = [&] {
        cls_thrMxlock(&mutex);
        if (++arrived == 3) cls_thrCvtbroadcast(&changed);
        while (arrived < 3) cls_thrCvtwait(&changed, &mutex);
        cls_thrMxunlock(&mutex);
    };
    onThreads(meet, 3);
    EXPECT_EQ(0, cls_thrCvtdestroy(&changed));
    EXPECT_EQ(0, cls_thrMxd(&mutex));
    EXPECT_EQ(EINVAL, cls_thrMxlock(&mutex)) << "a released handle is told, not used";
    EXPECT_EQ(0, cls_thrMxd(&mutex));
}

TEST(Threads, SmallestStackIsEnoughToReportAFailure) {
    bool logged = false;
    const auto report = [&] {
        volatile char text[32 * 1024]; // what streams, formatting and a dump take
        for (std::size_t at = 0; at < sizeof text; at += 512) text[at] = 'x';
        logged = clsdprint(nullptr, 0, std::string(1000, text[0])) == 1000;
    };
    onThreads(report, 1, 1);
    EXPECT_TRUE(logged);
}

TEST(Threads, SpawnTellsWhatItCannotDo) {
    const auto nothing = [](void*) {};
    EXPECT_EQ(EINVAL, ext_cls_thrSpawn(nothing, nullptr, nullptr, nullptr, 0, 7));
    sltsthnd handle = 1;
    EXPECT_EQ(0, ext_cls_thrSpawn(nothing, nullptr, nullptr, &handle, 0, CLS_THR_DETACHED));
    EXPECT_EQ(0U, handle);
}

TEST(Threads, KeyedValuesBelongToTheirThreadAndEndWithIt) {
    static std::atomic<int> destroyed{0};
    sltskey key = nullptr;
    cls_thrctx* const context = cls_thrGetctx();
    ASSERT_EQ(0, sltskyc(context, &key, [](void*) { ++destroyed; }));
    int mine = 0;
    sltskys(context, key, &mine);
    onThreads([&] {
        EXPECT_NE(context, cls_thrGetctx());
        void* value = &mine;
        sltskyg(cls_thrGetctx(), key, &value);
        EXPECT_EQ(nullptr, value);
        sltskys(cls_thrGetctx(), key, &value);
    });
    EXPECT_EQ(1, destroyed);
    void* value = nullptr;
    sltskyg(context, key, &value);
    EXPECT_EQ(&mine, value);
    EXPECT_EQ(0, sltskyd(context, &key));
    EXPECT_EQ(nullptr, key);
}

TEST(Clock, AnInterruptedSleepReportsWhatWasSlept) {
    signal(SIGUSR1, [](int) {});
    static std::atomic<std::uint64_t> slept{0};
    sltsthnd sleeper = 0;
    ext_cls_thrSpawn([](void*) { slept = sltrusleep(60'000'000); }, nullptr, nullptr, &sleeper, 0,
                     CLS_THR_JOINABLE);
    while (slept == 0) {
        sltrusleep(5'000);
        pthread_kill(sleeper, SIGUSR1);
    }
    ext_cls_thrJoin(&sleeper);
    signal(SIGUSR1, SIG_DFL);
    EXPECT_GT(60'000'000U, slept);
}

TEST(TintText, RoundTripsAndRefusesOtherTexts) {
    char text[TINT_TEXT_SIZE];
    for (const std::uint64_t tint : {std::uint64_t{0}, std::uint64_t{0x10002FFFD}, UINT64_MAX}) {
        ASSERT_EQ(0, clsvorn_utl_stringify_tint(tint, text, sizeof text));
        std::uint64_t back = ~tint;
        EXPECT_EQ(0, clsvorn_utl_destringify_tint(text, &back));
        EXPECT_EQ(tint, back);
    }
    EXPECT_STREQ("{ffffffffffffffff}", text);
    EXPECT_NE(0, clsvorn_utl_stringify_tint(1, text, 18));
    EXPECT_STREQ("", text);
    std::uint64_t kept = 5;
    for (const char* const wrong : {"", "{00000000000000001}", "{000000000000000g}",
                                    "{-000000000000001}", "{0x00000000000001}"})
        EXPECT_NE(0, clsvorn_utl_destringify_tint(wrong, &kept)) << wrong;
    EXPECT_EQ(5U, kept);
}
