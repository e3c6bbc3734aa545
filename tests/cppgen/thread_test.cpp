#include "cppgen/clsException.h"
#include "cppgen/clsThreadMain.h"
#include "tests/cppgen/cppgen_support.h"

using CLS_Threading::CLSthreadMain;
using namespace node;

namespace {

int run(void (*function)(void*), void* argument) {
    sltsthnd handle = 0;
    const int failed =
        CLSthreadMain::startThread(function, argument, nullptr, &handle, 0, CLS_THR_JOINABLE);
    return failed != 0 ? failed : ext_cls_thrJoin(&handle);
}

void leaveByForce(void* flag) {
    const auto raise = [](std::atomic<bool>* unwound) { *unwound = true; };
    const std::unique_ptr<std::atomic<bool>, decltype(raise)> guard(
        static_cast<std::atomic<bool>*>(flag), raise);
    pthread_exit(nullptr);
}

TEST(Threads, MayEndByForcedUnwinding) {
    std::atomic<bool> unwound = false;
    EXPECT_EQ(run(leaveByForce, &unwound), 0);
    EXPECT_TRUE(unwound.exchange(false));
    CLSthreadMain::setStackSize(1);
    EXPECT_EQ(CLSthreadMain::StartDetached(leaveByForce, &unwound), 0);
    CLSthreadMain::setStackSize(0);
    while (!unwound) std::this_thread::yield();
    EXPECT_NE(run(nullptr, nullptr), 0);
}

TEST(Threads, EndTheProcessWhenAnExceptionLeavesThem) {
    const auto fail = [](void*) { throw cls::BadIOException("lost"); };
    const Outcome child = inChild([&] { run(fail, nullptr); }, 128 + SIGABRT);
    EXPECT_EQ(child.log, (Lines{"default:  Exception caught at cppStart ", "default:  lost"}));
    EXPECT_EQ(child.out, std::string(program_invocation_short_name) +
                             ": clsThreadMain:105: static void CLS_Threading::CLSthreadMain::"
                             "cppStart(void *): Assertion `0' failed.\n");
}

TEST(ProcessExit, LogsAndEndsWithTheCode) {
    const Outcome good = inChild([] { CLSthreadMain::processExit(0, "all %s", false); });
    EXPECT_EQ(good.out, "");
    EXPECT_EQ(good.log, (Lines{"CLSCPPGEN:  all %s", "CLSCPPGEN:  Done."}));
    const Outcome bad = inChild([] { CLSthreadMain::processExit(5, "no %n", false); }, 5);
    EXPECT_EQ(bad.out, "no %n\n");
    EXPECT_EQ(bad.log, (Lines{"CLSCPPGEN: [PANIC] no %n", "CLSCPPGEN:  Done."}));
}

} // namespace
