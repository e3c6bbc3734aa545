#include "platform/include/clock.h"
#include "platform/include/diagnostics.h"
#include "platform/include/slots.h"
#include "platform/include/threads.h"
#include "platform/include/tint_text.h"

#include <signal.h>

#include <atomic>
#include <cerrno>
#include <functional>

namespace {

/// Runs `body` on a thread of its own until it ends.
void onThread(std::function<void()> body, unsigned stackSize = 0) {
    sltsthnd handle = 0;
    const auto call = [](void* function) { (*static_cast<std::function<void()>*>(function))(); };
    ASSERT_EQ(0, ext_cls_thrSpawn(call, &body, nullptr, &handle, stackSize, CLS_THR_JOINABLE));
    EXPECT_EQ(0, ext_cls_thrJoin(&handle));
    EXPECT_EQ(0U, handle);
}

struct Gate {
    cls_thrMx mutex = nullptr;
    cls_thrCvt opened = nullptr;
    bool open = false;
    std::atomic<int> passed{0};
};

void passGate(void* given) {
    Gate& gate = *static_cast<Gate*>(given);
    cls_thrMxlock(&gate.mutex);
    while (!gate.open) cls_thrCvtwait(&gate.opened, &gate.mutex);
    ++gate.passed;
    cls_thrMxunlock(&gate.mutex);
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
    std::vector<sltsthnd> handles(4);
    std::function<void()> body = count;
    const auto call = [](void* function) { (*static_cast<std::function<void()>*>(function))(); };
    for (sltsthnd& handle : handles)
        ASSERT_EQ(0, ext_cls_thrSpawn(call, &body, nullptr, &handle, 0, CLS_THR_JOINABLE));
    for (sltsthnd& handle : handles) ext_cls_thrJoin(&handle);
    EXPECT_EQ(40'000, counter);
}

TEST(Threads, ConditionReleasesEveryWaiter) {
    Gate gate;
    ASSERT_EQ(0, cls_thrMxinit(&gate.mutex));
    ASSERT_EQ(0, cls_thrCvtinit(&gate.opened));
    std::vector<sltsthnd> handles(3);
    for (sltsthnd& handle : handles) ext_cls_thrSpawn(passGate, &gate, nullptr, &handle, 0, 0);
    cls_thrMxlock(&gate.mutex);
    gate.open = true;
    cls_thrCvtbroadcast(&gate.opened);
    cls_thrMxunlock(&gate.mutex);
    for (sltsthnd& handle : handles) ext_cls_thrJoin(&handle);
    EXPECT_EQ(3, gate.passed);
    EXPECT_EQ(0, cls_thrCvtdestroy(&gate.opened));
    EXPECT_EQ(0, cls_thrMxd(&gate.mutex));
    EXPECT_EQ(nullptr, gate.mutex);
    EXPECT_EQ(EINVAL, cls_thrMxlock(&gate.mutex)) << "a released handle is told, not used";
    EXPECT_EQ(0, cls_thrMxd(&gate.mutex));
}

TEST(Threads, SmallestStackIsEnoughToLog) {
    bool logged = false;
    onThread([&] { logged = clsdprint(nullptr, 0, std::string(1000, 'x')) == 1000; }, 1);
    EXPECT_TRUE(logged);
}

TEST(Threads, SpawnTellsWhatItCannotDo) {
    const auto nothing = [](void*) {};
    EXPECT_EQ(EINVAL, ext_cls_thrSpawn(nullptr, nullptr, nullptr, nullptr, 0, CLS_THR_DETACHED));
    EXPECT_EQ(EINVAL, ext_cls_thrSpawn(nothing, nullptr, nullptr, nullptr, 0, 7));
    sltsthnd handle = 1;
    sltstid id = 0;
    EXPECT_EQ(0, ext_cls_thrSpawn(nothing, nullptr, &id, &handle, 0, CLS_THR_DETACHED));
    EXPECT_EQ(0U, handle);
    EXPECT_NE(0U, id);
}

TEST(Threads, KeyedValuesBelongToTheirThreadAndEndWithIt) {
    static std::atomic<int> destroyed{0};
    sltskey key = nullptr;
    cls_thrctx* const context = cls_thrGetctx();
    ASSERT_EQ(0, sltskyc(context, &key, [](void*) { ++destroyed; }));
    int mine = 0;
    sltskys(context, key, &mine);
    onThread([&] {
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

TEST(Slots, HoldWhatWasStoredAndThePlatformsOwn) {
    int content = 0;
    EXPECT_EQ(nullptr, clsgGet(40));
    clsgSet(40, &content);
    EXPECT_EQ(&content, clsgGet(40));
    clsgSet(40, nullptr);
    EXPECT_NE(nullptr, clsgGet(CLSG_IDENTITY));
    EXPECT_NE(nullptr, clsgGet(CLSG_LSF));
    clsgSet(CLSG_SLOTS, &content);
    EXPECT_EQ(nullptr, clsgGet(CLSG_SLOTS));
    clsgLock(40);
    clsgLock(40);
    clsgUnlock(40);
    clsgUnlock(40);
    clsgLock(CLSG_SLOTS);
    clsgUnlock(CLSG_SLOTS);
}

TEST(Clock, SleepReportsWhatWasSlept) {
    const std::uint64_t before = sltrgatime64();
    EXPECT_EQ(30'000U, sltrusleep(30'000));
    EXPECT_LE(before + 29, sltrgatime64());

    struct sigaction action {};
    action.sa_handler = [](int) {};
    struct sigaction previous {};
    sigaction(SIGUSR1, &action, &previous);
    static std::atomic<std::uint64_t> slept{0};
    sltsthnd sleeper = 0;
    ext_cls_thrSpawn([](void*) { slept = sltrusleep(60'000'000); }, nullptr, nullptr, &sleeper, 0,
                     CLS_THR_JOINABLE);
    while (slept == 0) {
        sltrusleep(5'000);
        pthread_kill(sleeper, SIGUSR1);
    }
    ext_cls_thrJoin(&sleeper);
    sigaction(SIGUSR1, &previous, nullptr);
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
    for (const char* const wrong : {"", "{}", "{00000000000000001}", "{000000000000000g}",
                                    "0000000000000001", "{-000000000000001}", "{0x00000000000001}"})
        EXPECT_NE(0, clsvorn_utl_destringify_tint(wrong, &kept)) << wrong;
    EXPECT_EQ(5U, kept);
}
