#include "cppgen/clsLog.h"
#include "tav/msg/TavMsg.h"
#include "tav/msg/tav_ZelCoreCtx.h"
#include "tav/msg/zelgetmsg.h"
#include "tests/support/test_node.h"

#include <set>

namespace {

namespace fs = std::filesystem;
using TAV::ZelCoreCtx;

void useHome(const std::string& home) {
    setenv("ZEL_VORN_HOME", home.c_str(), 1);
    ZelCoreCtx::cleanup();
}

std::string bareText(int number, const char* language = nullptr) {
    char text[TAV::Messages::TEXT_SIZE];
    const int failed = TAV::zelgetmsg("VORN", number, text, sizeof text, nullptr, language);
    return failed == 0 ? text : "(none)";
}

/// An installation home with catalogs of its own.
class CatalogLookup : public testing::Test {
protected:
    static void SetUpTestSuite() {
        install_catalog(s_folder, "en",
                        "7 seven\n12345 a %s and 100%\n9 " + std::string(2040, 'x') +
                            "\n6015 failed at %s: %s %d %n\n");
        install_catalog(s_folder, "de", "7 sieben\n");
    }
    static void TearDownTestSuite() { fs::remove_all(s_folder); }
    void SetUp() override { useHome(s_folder); }

    static inline const std::string s_folder = make_folder();
};

} // namespace

TEST_F(CatalogLookup, RendersFacilityAndNumber) {
    const TAV::TavMsg message;
    char out[TAV::Messages::TEXT_SIZE];
    EXPECT_EQ(0, message.getString(out, 7));
    EXPECT_STREQ("VORN-0007: seven\n", out);
    EXPECT_EQ(0, message.getString(out, 12345));
    EXPECT_STREQ("VORN-12345: a %s and 100%\n", out) << "the text is no format";
    EXPECT_EQ(0, message.getStringnofmt(out, 12345));
    EXPECT_STREQ("a %s and 100%", out);
    EXPECT_EQ(-1, message.getString(out, 8));
    EXPECT_STREQ("Message not found", out);
    EXPECT_EQ(-1, message.getStringnofmt(out, 0));
    EXPECT_STREQ("Message not found", out);
}

TEST_F(CatalogLookup, CutsALongTextToTheCallersBuffer) {
    const TAV::TavMsg message;
    std::string out(TAV::Messages::TEXT_SIZE + 8, '#');
    EXPECT_EQ(0, message.getString(out.data(), 9));
    const std::string head = "VORN-0009: ";
    const std::size_t room = TAV::Messages::TEXT_SIZE - 1 - head.size();
    EXPECT_EQ(head + std::string(room, 'x'), out.c_str());
    EXPECT_EQ("########", out.substr(TAV::Messages::TEXT_SIZE));
}

TEST_F(CatalogLookup, RefusesWhatCannotBeAMessage) {
    char buffer[32] = "left over";
    int attribute = -1;
    const auto get = [&](const char* facility, int number) {
        return TAV::zelgetmsg(facility, number, buffer, sizeof buffer, &attribute, nullptr);
    };
    EXPECT_EQ(-1, get("EIGHTLET", 7));
    EXPECT_STREQ("", buffer);
    EXPECT_EQ(-1, get(nullptr, 7));
    EXPECT_EQ(-1, get("VORN", 0));
    EXPECT_EQ(-1, attribute);
    EXPECT_EQ(0, get("VORN", 7));
    EXPECT_EQ(0, attribute);
    EXPECT_EQ(nullptr, ZelCoreCtx::getInstance()->getLmxHandle("..", "VORN", "fr"));
}

TEST_F(CatalogLookup, LanguagesHaveTheirOwnTexts) {
    EXPECT_EQ("sieben", bareText(7, "de_AT.UTF-8"));
    EXPECT_EQ("a %s and 100%", bareText(12345, "de")) << "not translated";
    EXPECT_NE(std::string::npos, diagnostic_log().find("ALERT: level 1, message VORN-12345\n"));
    setenv("LC_ALL", "de_DE.UTF-8", 1);
    ZelCoreCtx::cleanup();
    EXPECT_EQ("sieben", bareText(7, "")) << "the empty name is the environment's";
    EXPECT_EQ(ZelCoreCtx::getInstance()->getLangId("de_DE"),
              ZelCoreCtx::getInstance()->getLangId(nullptr));
    setenv("LC_ALL", "C.UTF-8", 1);
}

TEST_F(CatalogLookup, TheEleventhLanguageEvictsOneThatItsUserKeeps) {
    std::set<std::size_t> evictedPositions;
    for (int round = 0; round < 100; ++round) {
        ZelCoreCtx::cleanup();
        std::vector<std::shared_ptr<TAV::lang_ctx>> held;
        for (char letter = 'a'; letter < 'a' + 10; ++letter)
            held.push_back(ZelCoreCtx::getInstance()->getNlsCtx(std::string(2, letter).c_str()));
        EXPECT_EQ(held.front(), ZelCoreCtx::getInstance()->getNlsCtx("AA"));
        ASSERT_EQ("seven", bareText(7, "zz"));

        const auto unused = [](const auto& context) { return context.use_count() == 1; };
        ASSERT_EQ(1, std::count_if(held.begin(), held.end(), unused));
        const auto evicted = std::find_if(held.begin(), held.end(), unused);
        evictedPositions.insert(static_cast<std::size_t>(evicted - held.begin()));
        char buffer[16];
        lmsagbcmt(&(*evicted)->messages.handle, 7, buffer, sizeof buffer, nullptr, nullptr, 0,
                  nullptr, nullptr);
        EXPECT_STREQ("seven", buffer);
    }
    EXPECT_LE(5U, evictedPositions.size()) << "the position is drawn";
}

TEST_F(CatalogLookup, ThreadsShareTheContexts) {
    std::atomic<int> wrong{0};
    const auto look = [&](std::size_t seed) {
        for (std::size_t round = 0; round < 300; ++round) {
            const std::string language(2, static_cast<char>('a' + (round * 7 + seed) % 20));
            if (bareText(7, language.c_str()) != "seven") ++wrong;
            if (bareText(7, "de") != "sieben") ++wrong;
            if (round % 50 == seed) ZelCoreCtx::cleanup();
        }
    };
    on_threads(4, look);
    EXPECT_EQ(0, wrong);
}

TEST_F(CatalogLookup, LoggingPrintsAlertsWithTheirText) {
    TAV::installMessageTextHook();
    testing::internal::CaptureStdout();
    CLS_Debug::s_dbug().printAlert(6015, "here");
    EXPECT_EQ("VORN-6015: failed at here:   %n\n", testing::internal::GetCapturedStdout());
}

TEST_F(CatalogLookup, ShippedTitlesFitAndTextsUseOnlyTheArgumentsTheyAreGiven) {
    const char* const built = std::getenv("VORN_TEST_HOME");
    if (built == nullptr) GTEST_SKIP() << "VORN_TEST_HOME names no installation";
    useHome(built);
    const std::pair<int, std::size_t> titles[] = {{101, 15}, {102, 15}, {103, 7},  {104, 7},
                                                  {105, 10}, {106, 10}, {107, 12}, {119, 15},
                                                  {121, 12}, {122, 25}};
    for (const char* const language : {"en", "de"}) {
        for (const auto& [number, width] : titles) {
            EXPECT_NE("(none)", bareText(number, language)) << number;
            EXPECT_GT(width, bareText(number, language).size()) << number;
        }
        for (const int number : {111, 173, 184, 202, 249, 272, 275, 300})
            EXPECT_EQ(std::string::npos, bareText(number, language).find('%')) << number;
        for (const int number : {150, 210, 213, 230, 273, 6015}) {
            const std::string text = bareText(number, language);
            EXPECT_EQ(text.find("%s"), text.rfind('%')) << text;
            EXPECT_NE(std::string::npos, text.find("%s")) << text;
        }
    }
}
