#include "cppgen/clsLog.h"
#include "tests/cppgen/cppgen_support.h"

using namespace CLS_Debug;
using namespace node;

namespace {

CLSlogModule& moduleAt(const std::string& name, int level) {
    return *CLSlogModule::registerModule({name + " Component", name, level});
}

unsigned levelOf(const std::string& name) {
    return moduleAt(name, 2).getClsdLevelLog();
}

void error(CLSlog& log, const std::string& text, unsigned detail = DETAIL_DEFAULT) {
    std::ostringstream line(text);
    log.error(line, DebugDetail{detail});
}

bool levelHookThatLogs(const std::string& module, int& level) {
    CLSlog log("VORNZKS");
    error(log, " asked for " + module);
    level = 3;
    return true;
}

bool keepingHook(const std::string& module, int level) {
    error(s_dbug(), " kept " + module + '=' + std::to_string(level));
    return true;
}

TEST(Levels, ComeFromTheModulesVariableThenTheCommonOneThenTheRegistry) {
    const auto body = [] {
        setRegistryLevelHooks(levelHookThatLogs, keepingHook);
        EXPECT_EQ(levelOf("OWN"), 4U);
        EXPECT_EQ(levelOf("EMPTY"), 1U);
        setenv("ZEL_VORNDEBUG_ALL", "", 1);
        EXPECT_EQ(levelOf("OUTSIDE"), 2U);
        clsd_change_level("OUTSIDE", 4);
        EXPECT_FALSE(clsd_accepts(nullptr));
        CLSlogStaticData::s_staticData().setIsTorvd(true);
        EXPECT_EQ(levelOf("INSIDE"), 3U);
        EXPECT_EQ(levelOf("OWN"), 4U);
        clsd_change_level("OWN", 5);
        EXPECT_TRUE(clsd_accepts(nullptr));
    };
    const Outcome child = inChild(
        body, 0,
        {{"ZEL_VORNDEBUG_ALL", "1"}, {"ZEL_VORNDEBUG_OWN", "4"}, {"ZEL_VORNDEBUG_EMPTY", ""}});
    EXPECT_EQ(child.log,
              (Lines{"CLSCPPGEN:  Debug level set to 4 for module OUTSIDE",
                     "VORNZKS:  asked for INSIDE", "VORNZKS:  asked for OWN",
                     "CLSCPPGEN:  Debug level set to 5 for module OWN", "CLSCPPGEN:  kept OWN=5"}));
}

TEST(Levels, DecideWhichDetailsAreWritten) {
    const Lines written = {"01",        "012345",    "0123456",  "01234567",
                           "012345679", "012345678", "012345678"};
    CLSlog log("DETAILS");
    EXPECT_FALSE(log.writes(DETAIL_DEFAULT)); // registers the log's module, at level 0
    for (std::size_t level = 0; level < written.size(); ++level) {
        moduleAt("DETAILS", static_cast<int>(level));
        std::string told, found;
        for (unsigned detail = 0; detail <= DETAIL_EXTERNAL_LAYER; ++detail) {
            std::ostringstream line(" x");
            const Lines lines = logOf([&] { log.out(line, DebugDetail{detail}); });
            if (!lines.empty()) found += std::to_string(detail);
            if (log.writes(DebugDetail{detail})) told += std::to_string(detail);
        }
        EXPECT_EQ(std::pair(found, told), std::pair(written[level], written[level])) << level;
    }
}

TEST(Lines, CarryModuleAndTagAndAreNoFormat) {
    CLSlog log("TAGS");
    std::ostringstream line(" x");
    const Lines lines = logOf([&] {
        for (unsigned detail = 0; detail <= DETAIL_EXTERNAL_LAYER; ++detail)
            error(log, " %n", detail);
        dbError(line);
        dbOut(line); // the default module stays at level 0
        dbLog(line, DETAIL_DEFAULT, moduleAt("NAMED", 0));
    });
    EXPECT_EQ(lines, (Lines{"TAGS: [IN MEM] %n", "TAGS: [LOGGING] %n", "TAGS: [ALERT] %n",
                            "TAGS: [PANIC] %n", "TAGS:  %n", "TAGS: [FFAIL] %n", "TAGS: [ENTER] %n",
                            "TAGS:  %n", "TAGS: [F-ALGO] %n", "TAGS: [EXT-LAYER] %n", "default:  x",
                            "NAMED:  x"}));
}

TEST(Lines, LongerThanTheDiagnosticLayerTakesArriveInPortions) {
    const std::string portion(CLSD_MAX_LINE, 'a');
    std::ostringstream line(portion + portion + "end");
    const Lines lines = logOf([&] { s_dbug().error(line, DETAIL_TRACE); });
    const std::string lead = "CLSCPPGEN: ";
    EXPECT_TRUE(lines == (Lines{lead + portion, lead + portion, lead + "end"}));
}

TEST(Lines, OfManyThreadsArriveWhole) {
    const Lines lines = logOf([] {
        on_threads(4, [](std::size_t i) {
            CLSlog log("THREAD" + std::to_string(i % 2));
            for (int n = 0; n < 50; ++n) {
                error(log, " a whole line");
                moduleAt("THREAD0", n % 5).setClsdLevelLog(1);
            }
        });
    });
    EXPECT_EQ(lines.size(), 200U);
    EXPECT_EQ(mentions(lines, ":  a whole line"), 200U);
}

Lines raise(const char* id) {
    std::ostringstream reason("the reason");
    return logOf([&] { CLSlog("RAISER").alert(reason, 42, id); });
}

TEST(Alerts, PassOnIdentifierAndTintAsFarAsTheyExist) {
    const std::string file = CLSlogStaticData::s_staticData().getLogFileName();
    EXPECT_EQ(file.rfind(test_folder() + "/log/", 0), 0U) << file;
    const auto expected = [&](const std::string& argument, const std::string& line) {
        return Lines{"ALERT: alert 42: " + argument + " (log file " + file + ')',
                     "ALERT: status message 1, alert 42: " + argument + ", " + file,
                     "RAISER: " + line + "the reason"};
    };
    EXPECT_EQ(raise(nullptr), (Lines{"ALERT: alert 42", "ALERT: status message 1, alert 42",
                                     "RAISER:  Created alert : the reason"}));
    EXPECT_EQ(raise("(:ID:)"), expected("(:ID:)", " Created alert : (:ID:) : "));
    setThreadTintHook([](std::string& tint) { return tint = "{7}", true; });
    EXPECT_EQ(raise(nullptr), expected("{7}", "{7} {7} Created alert : "));
    EXPECT_EQ(raise("(:ID:)"), expected("(:ID:) {7}", "{7} {7} Created alert : (:ID:) : "));
    setThreadTintHook(nullptr);
}

TEST(Alerts, PrintWithTheCatalogsText) {
    const auto body = [] {
        s_dbug().printAlert(7, "it");
        setMessageTextHook([](int number, char* buffer, int size) {
            copy_cut(buffer, static_cast<std::size_t>(size), "%s is %d%n %s");
            return number == 7 ? 0 : -1;
        });
        s_dbug().printAlert(7, "it", 5);
        s_dbug().printAlert(8, "it", 5);
    };
    EXPECT_EQ(inChild(body).out,
              "VORN-7: Message not found\nVORN-7: it is 5%n \nVORN-8: Message not found\n");
}

void failAssertion() {
    clsAssert(true, "holds", "clsSomething", 76);
    clsAssert(false, "a > b", "clsSomething", 77);
}

TEST(Assertions, ReportAndEndTheProcess) {
    const std::string report = "CLSCPPGEN:  Created alert : (:CLSGEN00100:) :  *ASSERTION "
                               "FAILURE*. File [clsSomething] Line [77] Condition [a > b]";
    const Outcome quiet = inChild(failAssertion, 1);
    EXPECT_NE(quiet.out.find("[0x"), std::string::npos) << "no stack dump: " << quiet.out;
    EXPECT_EQ(quiet.log.back(), report);
    EXPECT_EQ(mentions(quiet.log, "ALERT: alert 6015: (:CLSGEN00100:)"), 1U);
    const Outcome core = inChild(failAssertion, 128 + SIGABRT, {{"VORN_DEVELOPMENT", "1"}});
    EXPECT_EQ(core.log.back(), report);
}

} // namespace
