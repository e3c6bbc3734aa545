#include "platform/include/home.h"
#include "tav/registry/clsgenv.h"
#include "tav/registry/clsgenvctx.h"
#include "tests/registry/registry_support.h"

namespace {

using namespace std::string_literals;

constinit std::atomic<std::uint64_t> s_now{0};

class ClsgenvRegistry : public RegistryTest {
protected:
    void SetUp() override {
        RegistryTest::SetUp();
        clsgenv_set_clock([] { return s_now.load(); });
        put("SYSTEM.key", "value\0"s);
    }
    /// The connect string under the key, the level in force after it, and what was printed.
    static std::string look(const char* key = "SYSTEM.key") {
        char value[CLSGETCONNSTR_SIZE] = "old";
        testing::internal::CaptureStdout();
        const int rc = clsgetconnstr(key, value);
        return std::to_string(rc) + ' ' + value + ' ' + std::to_string(genvzksctx()->zks_mode) +
               ' ' + testing::internal::GetCapturedStdout();
    }
};

} // namespace

TEST_F(ClsgenvRegistry, LostLevelIsLeftAndClimbedBackToAfterAMinute) {
    // The 32-bit clock wraps between the fall and the climb.
    s_now = (std::uint64_t{7} << 32) - 1000;
    EXPECT_EQ(look(), "0 value 3 ");
    EXPECT_EQ(genvzksctx()->st_ms, 0u);
    setDown(true);
    EXPECT_EQ(look(), "0 value 2 ");
    EXPECT_EQ(genvzksctx()->st_ms, 0u - 1000);
    s_now += 60001;
    EXPECT_EQ(look(), "0 value 2 ") << "a climb fails without a word";
    setDown(false);
    s_now += 60000;
    EXPECT_EQ(look(), "0 value 2 ") << "the next one waits as long again";
    s_now += 1;
    EXPECT_EQ(look(), "0 value 3 ");
    EXPECT_EQ(genvzksctx()->st_ms, 0u);
    clsgenvterm();
    setDown(true);
    EXPECT_EQ(look(), "0 value 2 ") << "opened where it can be";
}

TEST_F(ClsgenvRegistry, WithoutAnyLevelTheProcessEnds) {
    EXPECT_EQ(clsgenvinit(), 0);
    setDown(true);
    const std::string store = test_folder() + "/zks";
    EXPECT_EXIT(
        {
            dup2(STDERR_FILENO, STDOUT_FILENO);
            auto* const context = const_cast<clsgenvctx*>(genvzksctx());
            clsgenv_grabctx(context);
            std::filesystem::rename(store, store + "-away");
            clsgenv_switch_zks_mode(context);
        },
        testing::ExitedWithCode(1),
        "^clsgenv_switch_zks_mode: przks_init failed rc = 15 err= aborting\n$");
    std::filesystem::rename(store + "-away", store);
}

TEST_F(ClsgenvRegistry, ValuesThatDoNotFitAreNoAnswer) {
    const std::string fits(255, 'v'), failing = "clgenv_zks_get_value:przks_get_value failed "
                                                "key=SYSTEM.v\t rc=7\n";
    const std::pair<std::string, std::string> table[] = {
        {fits + '\0', "0 " + fits + " 3 "},
        {fits, "0 " + fits + " 3 "},
        {fits + 'v', "1  3 "},
        {std::string(300, 'v') + '\0', "1  3 " + failing},
        {"\0"s, "1  3 "},
    };
    for (const auto& [stored, expected] : table) {
        put("SYSTEM.v", stored);
        EXPECT_EQ(look("SYSTEM.v"), expected) << stored.size();
    }
    put("SYSTEM.v", "1234", przks_dtype_UB4);
    EXPECT_EQ(look("SYSTEM.v"), "1  3 ");
    EXPECT_EQ(look("SYSTEM.none"),
              "1  3 clsgenv_zks_open_key:przks_open_key failed key =SYSTEM.none rc=4\n");
    char home[CLSENV_MAX + 1] = "";
    put("SYSTEM.ZEL_VORN_HOME", std::string(CLSENV_MAX, 'h'));
    EXPECT_EQ(clsgenvzks("ZEL_VORN_HOME", home), 0);
    EXPECT_EQ(home, std::string(CLSENV_MAX, 'h'));
    put("SYSTEM.ZEL_VORN_HOME", std::string(CLSENV_MAX + 1, 'h'));
    EXPECT_EQ(clsgenvzks("ZEL_VORN_HOME", home), PRZKS_SHORTBUF);
    EXPECT_STREQ(home, "");
}

TEST_F(ClsgenvRegistry, TheHomeComesFromTheRegistryOnlyWhenTheEnvironmentHasNone) {
    put("SYSTEM.ZEL_VORN_HOME", "/registry\0"s);
    const auto inChild = [](const char* environment) {
        clsenvdummy.clsenv_nxt = nullptr;
        ::setenv("ZEL_VORN_HOME", environment, 1);
        const char* const home = clsgenv("ZEL_VORN_HOME");
        clssetzelmarhome(home);
        const bool isKept = home == clsgenv("ZEL_VORN_HOME");
        const bool isUnset = clsgenv("CLSGENV_TEST_UNSET") == nullptr;
        std::fprintf(stderr, "%s %d %d %d", clse_zelmar_home().c_str(), isKept, isUnset,
                     genvzksctx() != nullptr);
        std::_Exit(0);
    };
    EXPECT_EXIT(inChild("/environment"), testing::ExitedWithCode(0), "^/environment 1 1 0$");
    EXPECT_EXIT(inChild(""), testing::ExitedWithCode(0), "^/registry 1 1 1$");
}

TEST_F(ClsgenvRegistry, OneCallerAtATimeAndClosingWaitsForIt) {
    EXPECT_EQ(clsgenvinit(), 0);
    auto* const context = const_cast<clsgenvctx*>(genvzksctx());
    clsgenv_grabctx(context);
    std::vector<std::thread> threads;
    for (int thread = 0; thread < 8; ++thread)
        threads.emplace_back([] {
            for (int round = 0; round < 50; ++round) {
                char value[CLSGETCONNSTR_SIZE];
                // Closed while it waited: the next try opens a new one.
                while (clsgetconnstr("SYSTEM.key", value) != 0) {
                }
                EXPECT_STREQ(value, "value");
                if (round % 10 == 0) clsgenvterm();
            }
        });
    EXPECT_EQ(context->in_use, 1u);
    clsgenv_releasectx(context);
    for (auto& thread : threads) thread.join();
}
