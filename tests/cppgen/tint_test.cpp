#include "cppgen/clsLog.h"
#include "cppgen/clsTint.h"
#include "tests/cppgen/cppgen_support.h"

#include <iostream>

using cls::Tint;
using namespace node;

namespace {

void logLine() {
    std::ostringstream line(" line");
    CLS_Debug::CLSlog("TINTED").error(line);
}

TEST(Tints, AreComposedOfNodeProcessAndSeed) {
    inChild([] {
        Tint::initializeTinting(1, 2);
        EXPECT_EQ(Tint::generateTint().toUb8(), 0xFFFFFFFFULL + 2 + 2 * 0xFFFF);
        on_threads(4, [](std::size_t) {
            for (unsigned n = 0; n < 0x3FFF; ++n) static_cast<void>(Tint::generateTint());
        });
        EXPECT_EQ(Tint::generateTint().toUb8(), 0xFFFFFFFFULL + 0 + 2 * 0xFFFF); // seed 0xFFFF
    });
}

TEST(Tints, BelongToTheirThreadsAndStandInTheirLines) {
    const Outcome child = inChild([] {
        Tint::initializeTinting(1, 2);
        logLine();
        Tint(0xabc).setThreadTint();
        std::thread([] {
            EXPECT_TRUE(Tint::getThreadTint().isInvalid());
            Tint(1).setThreadTint();
            Tint(2).setThreadTint();
            logLine();
        }).join();
        logLine();
    });
    EXPECT_EQ(child.log, (Lines{"CLSCPPGEN:  Tints initialized with nodeId: 1 procId: 2",
                                "TINTED:  line", "TINTED: " + Tint(2).toString() + " line",
                                "TINTED: " + Tint(0xabc).toString() + " line"}));
}

TEST(Tinting, StaysOffWhenTheVariableIsSet) {
    const auto body = [] {
        Tint::initializeTinting(1, 2);
        std::cout << Tint::generateTint().isInvalid() << std::flush;
        Tint tint(0);
        tint.destringify(Tint(0xFFFFFFFFFFFFFFFF).toString());
        tint.setThreadTint();
        logLine();
    };
    const Outcome disabled = inChild(body, 0, {{"ZEL_CLS_TINT_DISABLE", "0"}});
    EXPECT_EQ(disabled.out, "1");
    EXPECT_EQ(disabled.log,
              (Lines{"CLSCPPGEN:  Tints disabled by Env variable ZEL_CLS_TINT_DISABLE",
                     "TINTED:  line"}));
    const Outcome empty = inChild(body, 0, {{"ZEL_CLS_TINT_DISABLE", ""}});
    EXPECT_EQ(empty.out, "0");
    EXPECT_EQ(empty.log.back(), "TINTED: {ffffffffffffffff} line");
}

} // namespace
