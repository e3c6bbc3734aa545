#include "cppgen/clsLog.h"
#include "tav/registry/tavzks.h"
#include "tests/registry/registry_support.h"

using namespace TAV;

namespace {

using namespace std::string_literals;

class Keys : public RegistryTest {
protected:
    static std::string read(const char* key, unsigned size) {
        std::string buffer(size, '#');
        unsigned length = size;
        const int rc = tavzksReadZKSKey(key, buffer.data(), &length);
        return rc == PRZKS_OK ? buffer.substr(0, length) : '<' + std::to_string(rc) + '>';
    }
};

} // namespace

TEST_F(Keys, ValuesFitTheCallersBufferOrAreRefused) {
    EXPECT_EQ(tavzksWrite("SYSTEM.a.b", "12345", 6), PRZKS_OK);
    put("SYSTEM.a.bare", "12345");
    EXPECT_EQ(read("SYSTEM.a.b", 6) + read("SYSTEM.a.b", 5), "12345\0<7>"s);
    EXPECT_EQ(read("SYSTEM.a.bare", 6) + read("SYSTEM.a.bare", 5), "12345<7>");
    EXPECT_EQ(read("SYSTEM.none", 5), "<4>");
    EXPECT_EQ(tavzksWrite("SYSTEM..b", "v", 2), PRZKS_BADNAME);
    expectLogged({" ZKS api przks_open_key failed for key SYSTEM.none. ZKS error code = 4 ZKS "
                  "error msg: cannot ",
                  " error on Zks Write: SYSTEM..b: v, RC:10\n"});
}

TEST_F(Keys, TreesAreMadeReadAndDeleted) {
    ::setenv("_VORN_CONFIG_VERSION", std::string(70, '7').c_str(), 1);
    EXPECT_EQ(tavzksWriteVersion("1.2"), PRZKS_OK);
    EXPECT_EQ(get("SYSTEM.vorn._VORN_CONFIG_VERSION"), "1.2\0"s);
    EXPECT_EQ(tavzksWriteVersion(""), PRZKS_OK);
    EXPECT_EQ(read("SYSTEM.vorn._VORN_CONFIG_VERSION", 61), std::string(60, '7').append(1, '\0'));
    EXPECT_EQ(tavzksCreateKey("SYSTEM.vorn", "sub"), PRZKS_OK);
    EXPECT_EQ(tavzksCheckKey("SYSTEM.vorn.sub"), PRZKS_OK);

    std::string deep = "SYSTEM.deep";
    for (int level = 0; level < 500; ++level) deep += ".d";
    put(deep, "bottom");
    EXPECT_EQ(tavzksRefreshKeysInCache({"SYSTEM", "SYSTEM.none"}), PRZKS_NOTFOUND);
    EXPECT_EQ(tavzksDeleteKey("SYSTEM.deep"), PRZKS_OK);
    EXPECT_EQ(tavzksCheckKey("SYSTEM.deep"), PRZKS_NOTFOUND);
    expectLogged(
        {" tavzksRefreshKeys, caching tree root: SYSTEM\n", " Unable to read key. rc=4\n"});
}

TEST_F(Keys, ContextsOnDemandStayAtRebootOnceThere) {
    tavzksTerm();
    setDown(true);
    przks_ctx* const reboot = tavzkstrygetctx();
    ASSERT_NE(reboot, nullptr);
    EXPECT_EQ(przks_create_key(reboot, nullptr, "new", nullptr, nullptr), PRZKS_READONLY);
    setDown(false);
    EXPECT_EQ(tavzkstrygetctx(), reboot);
    EXPECT_EQ(tavzksinitctx(PRZKS_DEFAULT), PRZKS_OK);
    EXPECT_NE(tavzkstrygetctx(), reboot) << "an open DEFAULT context goes first";
    setDown(true);
    std::string error;
    EXPECT_EQ(tavzksinitctx(PRZKS_CACHE, &error), PRZKS_DEFAULT_LOST);
    EXPECT_NE(error, "");
    expectLogged({" ZKS context init REBOOT Level: ", " ZKS context init DEFAULT Level: ",
                  " ZKS context init failure.  Error: " + error});
}

TEST_F(Keys, LocalContextsAreApartAndTellTheirLevel) {
    for (const unsigned level : {PRZKL_DEFAULT, PRZKL_REBOOT, PRZKL_CACHE})
        EXPECT_EQ(tavzklinitctx(level), PRZKS_OK);
    expectLogged({" ZKL context init DEFAULT Level: ", " ZKL context init REBOOT Level: ",
                  " ZKL context init CACHE Level: "});
    put("only.cluster", "1");
    EXPECT_EQ(tavzksCheckKey("only.cluster", tavzklgetctx()), PRZKS_NOTFOUND);
}

TEST_F(Keys, WithoutContextTheProcessEnds) {
    const char* const words = "VORND Exiting. ZKS Failed";
    EXPECT_EXIT(tavzklgetctx(), testing::ExitedWithCode(1), words);
    tavzksTerm();
    EXPECT_EXIT(tavzksgetctx(), testing::ExitedWithCode(1), words);
    EXPECT_EXIT(rtizks_report_zks_error(nullptr, "a", "k", "", 1), testing::ExitedWithCode(0), "");
    expectLogged({"[PANIC] ZKL Context is NULL (File: ", "[PANIC] ZKS Context is NULL (File: ",
                  " Invalid ZKS Context (File: "});
}

TEST_F(Keys, ClosingAContextRacesWithReadersHarmlessly) {
    put("SYSTEM.key", "value");
    std::atomic<bool> stop{false};
    std::atomic<int> found{0};
    std::vector<std::thread> readers;
    for (int reader = 0; reader < 4; ++reader)
        readers.emplace_back([&] {
            char value[16];
            for (unsigned length = sizeof value; !stop || found == 0; length = sizeof value)
                if (tavzksReadZKSKey("SYSTEM.key", value, &length, tavzksgetctx()) == PRZKS_OK)
                    found += std::string(value) == "value" ? 1 : 0;
        });
    for (int round = 0; round < 100; ++round) EXPECT_EQ(tavzksinitctx(PRZKS_DEFAULT), PRZKS_OK);
    stop = true;
    for (auto& reader : readers) reader.join();
    EXPECT_GT(found, 0);
}

TEST_F(Keys, LevelsAreKeptForTheDaemonAndTheHost) {
    const clsv_daemon& vornd = *tavzksFindDaemon(3);
    EXPECT_EQ(tavzksSetDebugLevel("vorncomm", 4, vornd), PRZKS_OK);
    EXPECT_EQ(get("SYSTEM.vorn.debug.alpha.VORNCOMM"), "4\0"s);
    int level = -1;
    EXPECT_EQ(tavzksGetDebugLevel("VORNCOMM", &level, *tavzksFindDaemon(13)), PRZKS_NOTFOUND);
    for (const auto& [text, expected] : {std::pair{"4", 4}, std::pair{"99999999999999999999", 5},
                                         std::pair{"-3", 0}, std::pair{"x", 0}}) {
        put("SYSTEM.vorn.debug.alpha.M", text);
        EXPECT_EQ(tavzksGetDebugLevel("m", &level, vornd), PRZKS_OK);
        EXPECT_EQ(level, expected) << text;
    }
    const clsv_daemon& action = *tavzksFindDaemon(14);
    EXPECT_EQ(tavzksCrRoot(), PRZKS_OK);
    EXPECT_EQ(tavzksAddResource("a.b", TAVZKS_CURRENT), PRZKS_OK);
    EXPECT_EQ(tavzksSetDebugLevel("a.b", 2, action), PRZKS_OK);
    EXPECT_EQ(get("VORN.CUR.a!b.USR_ZEL_DEBUG"), "2\0"s);
    EXPECT_EQ(tavzksSetDebugLevel("none", 2, action), PRZKS_NOTFOUND);
    expectLogged({" SET Logging Level for: SYSTEM.vorn.debug.alpha.VORNCOMM   4\n",
                  " TAVZKS GET Debug level Level[m]: 4\n",
                  " TAVZKS GET Debug Level Return Code[VORNCOMM]: 4\n",
                  " TAVZKS Set Debug Level for Resource a.b: 2\n",
                  " TAVZKS set Debug Fails, Resource none does not exist.\n"});
}

TEST_F(Keys, LevelsOfModulesInsideTheDaemonComeFromTheRegistry) {
    using namespace CLS_Debug;
    auto levelOf = [](const char* module) {
        return CLSlogModule::registerModule({"d", module})->getClsdLevelLog();
    };
    for (const char* module : {"ONE", "TWO"})
        put(std::string("SYSTEM.vorn.debug.alpha.") + module, "4");
    ::setenv("ZEL_VORNDEBUG_TWO", "1", 1);
    tavzksInstallDebugLevels(*tavzksFindDaemon(3));
    EXPECT_EQ(levelOf("ONE"), 0u) << "not inside the daemon";
    CLSlogStaticData::s_staticData().setIsTorvd(true);
    EXPECT_EQ(levelOf("ONE"), 4u);
    EXPECT_EQ(levelOf("TWO"), 1u) << "the environment wins";
    EXPECT_EQ(levelOf("THREE"), 0u);
    clsdCbkLog("THREE", 3);
    EXPECT_EQ(get("SYSTEM.vorn.debug.alpha.THREE"), "3\0"s);
    CLSlogStaticData::s_staticData().setIsTorvd(false);
    setRegistryLevelHooks(nullptr, nullptr);
    EXPECT_EQ(logged().find("VORNZKS"), std::string::npos) << "hooks must not log";
}
