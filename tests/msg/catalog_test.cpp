#include "cppgen/clsLog.h"
#include "platform/include/home.h"
#include "tav/msg/TavMsg.h"
#include "tav/msg/tav_ZelCoreCtx.h"
#include "tav/msg/zelgetmsg.h"
#include "tests/msg/msg_support.h"

#include <algorithm>
#include <atomic>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <set>
#include <thread>

namespace {

namespace fs = std::filesystem;
using TAV::ZelCoreCtx;

void recordHome(const std::string& home) {
    clsehdl* services = nullptr;
    clse_init(&services, nullptr);
    clse_set_zelmar_home(services, home.c_str());
    clse_close(services);
    ZelCoreCtx::cleanup();
}

std::string builtHome() {
    const char* const home = std::getenv("VORN_TEST_HOME");
    return home == nullptr ? "" : home;
}

std::string bareText(int number, const char* language = nullptr) {
    char buffer[TAV::Messages::TEXT_SIZE];
    return TAV::zelgetmsg("VORN", number, buffer, sizeof buffer, nullptr, language) == 0 ? buffer
                                                                                         : "(none)";
}

constexpr std::size_t LONG_TEXT = 2040;

/// An installation home with a catalog of its own.
class CatalogLookup : public testing::Test {
protected:
    void SetUp() override {
        ASSERT_NE(nullptr, mkdtemp(m_home.data()));
        install("en", "7 seven\n12345 a %s and 100%\n9 " + std::string(LONG_TEXT, 'x') + "\n");
        install("de", "7 sieben\n");
        recordHome(m_home);
    }
    void TearDown() override {
        recordHome(builtHome());
        fs::remove_all(m_home);
    }

    void install(const std::string& language, const std::string& texts) const {
        const std::string folder = m_home + "/vorn/mesg/" + language;
        const std::string source = m_home + "/source.msg";
        fs::create_directories(folder);
        std::ofstream(source) << "$set 1\n" << texts;
        ASSERT_EQ(0, std::system(("gencat " + folder + "/VORN.cat " + source).c_str()));
    }

    std::string m_home = "/tmp/vorn-catalog-XXXXXX";
};

/// The catalogs that the build made.
class ShippedCatalogs : public testing::TestWithParam<const char*> {
protected:
    void SetUp() override {
        if (builtHome().empty()) GTEST_SKIP() << "VORN_TEST_HOME names no installation";
        recordHome(builtHome());
    }
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
    char small[5];
    EXPECT_EQ(0, TAV::zelgetmsg("VORN", 7, small, sizeof small, nullptr, nullptr));
    EXPECT_STREQ("seve", small);
}

TEST_F(CatalogLookup, RefusesWhatCannotBeAMessage) {
    char buffer[32] = "left over";
    int attribute = -1;
    EXPECT_EQ(-1, TAV::zelgetmsg("EIGHTLET", 7, buffer, sizeof buffer, &attribute, nullptr));
    EXPECT_STREQ("", buffer);
    EXPECT_EQ(-1, TAV::zelgetmsg(nullptr, 7, buffer, sizeof buffer, &attribute, nullptr));
    EXPECT_EQ(-1, TAV::zelgetmsg("VORN", 0, buffer, sizeof buffer, &attribute, nullptr));
    EXPECT_EQ(-1, TAV::zelgetmsg("VORN", 7, nullptr, 0, &attribute, nullptr));
    EXPECT_EQ(-1, attribute);
    EXPECT_EQ(0, TAV::zelgetmsg("VORN", 7, buffer, sizeof buffer, &attribute, nullptr));
    EXPECT_EQ(0, attribute);
    EXPECT_EQ(nullptr, ZelCoreCtx::getInstance()->getLmxHandle("..", "VORN", "fr"));
}

TEST_F(CatalogLookup, LanguagesHaveTheirOwnTexts) {
    EXPECT_EQ("sieben", bareText(7, "de_AT.UTF-8"));
    EXPECT_EQ("sieben", bareText(7, "DE"));
    EXPECT_EQ("a %s and 100%", bareText(12345, "de")) << "not translated";
    EXPECT_NE(std::string::npos, logged_text().find("ALERT: level 1, message VORN-12345\n"));
    EXPECT_EQ("seven", bareText(7, "fr"));
    setenv("LC_ALL", "de_DE.UTF-8", 1);
    ZelCoreCtx::cleanup();
    EXPECT_EQ("sieben", bareText(7, "")) << "the empty name is the environment's";
    EXPECT_EQ("sieben", bareText(7));
    const auto instance = ZelCoreCtx::getInstance();
    EXPECT_EQ(instance->getNlsCtx(nullptr)->language, instance->getLangId(""));
    EXPECT_EQ(instance->getLangId("de_DE"), instance->getLangId(nullptr));
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
        char* message = nullptr;
        int status = -1;
        lmsagbcmt(&(*evicted)->messages.handle, 7, buffer, sizeof buffer, &message, nullptr, 0,
                  nullptr, &status);
        EXPECT_STREQ("seven", buffer);
    }
    EXPECT_LE(5U, evictedPositions.size()) << "the position is drawn";
}

TEST_F(CatalogLookup, ThreadsShareTheContexts) {
    std::atomic<int> wrong{0};
    const auto look = [&](int seed) {
        for (int round = 0; round < 300; ++round) {
            const std::string language(2, static_cast<char>('a' + (round * 7 + seed) % 20));
            if (bareText(7, language.c_str()) != "seven") ++wrong;
            if (bareText(7, "de") != "sieben") ++wrong;
            if (round % 50 == seed) ZelCoreCtx::cleanup();
        }
    };
    std::vector<std::thread> threads;
    for (int seed = 0; seed < 4; ++seed) threads.emplace_back(look, seed);
    for (std::thread& thread : threads) thread.join();
    EXPECT_EQ(0, wrong);
}

TEST_F(CatalogLookup, LoggingPrintsAlertsWithTheirText) {
    install("en", "6015 failed at %s: %s %d %n\n");
    ZelCoreCtx::cleanup();
    TAV::installMessageTextHook();
    testing::internal::CaptureStdout();
    CLS_Debug::s_dbug().printAlert(6015, "here");
    EXPECT_EQ("VORN-6015: failed at here:   %n\n", testing::internal::GetCapturedStdout());
}

TEST(TavMsg, DisplaysItsTextWhereItIsTold) {
    struct Holder : TAV::TavMsg {
        Holder() : TavMsg("other", 3) { m_text = "text"; }
    };
    Holder holder;
    testing::internal::CaptureStdout();
    testing::internal::CaptureStderr();
    holder.display(TAV::TavMsg::COUT_MSG);
    holder.clear();
    holder.display(TAV::TavMsg::CERR_MSG);
    EXPECT_EQ("text\n", testing::internal::GetCapturedStdout());
    EXPECT_EQ("\n", testing::internal::GetCapturedStderr());
    EXPECT_EQ("other 3 %N.cat",
              holder.name() + " " + std::to_string(holder.set()) + " " + holder.location());
}

TEST_P(ShippedCatalogs, TitlesAreShorterThanTheirColumns) {
    const std::pair<int, std::size_t> columns[] = {{101, 15}, {102, 15}, {103, 7},  {104, 7},
                                                   {105, 10}, {106, 10}, {107, 12}, {119, 15},
                                                   {121, 12}, {122, 25}};
    for (const auto& [number, width] : columns) {
        const std::string title = bareText(number, GetParam());
        EXPECT_NE("(none)", title) << number;
        EXPECT_GT(width, title.size()) << number;
    }
}

TEST_P(ShippedCatalogs, TextsUseOnlyTheArgumentsTheyAreGiven) {
    const std::set<int> withName = {150, 210, 213, 230, 273, 6015};
    for (const int number :
         {111, 150, 173, 184, 202, 210, 213, 230, 249, 272, 273, 275, 300, 6015}) {
        const std::string text = bareText(number, GetParam());
        EXPECT_NE("(none)", text) << number;
        const std::size_t placeholder = text.find("%s");
        EXPECT_EQ(withName.contains(number), placeholder != std::string::npos) << text;
        EXPECT_EQ(placeholder, text.find('%')) << text;
        EXPECT_EQ(placeholder, text.rfind('%')) << text;
    }
}

INSTANTIATE_TEST_SUITE_P(Languages, ShippedCatalogs, testing::Values("en", "de"));
