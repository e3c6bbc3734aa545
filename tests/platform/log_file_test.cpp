#include "platform/include/diagnostics.h"
#include "platform/local/log_file.h"
#include "tests/platform/node_support.h"

#include <sys/file.h>

#include <regex>
#include <set>

namespace {

namespace fs = std::filesystem;

class LogFileTest : public testing::Test {
protected:
    void SetUp() override {
        fs::remove_all(m_folder);
        fs::create_directory(m_folder);
    }
    [[nodiscard]] std::string numbered(int number) const {
        return number == 0 ? m_path : m_path + "." + std::to_string(number);
    }
    [[nodiscard]] std::string content(int number) const { return read_file(numbered(number)); }

    std::string m_folder = test_folder() + "/logs";
    std::string m_path = m_folder + "/program.log";
};

std::string testLine(int process, int thread, int number) {
    const std::string text =
        std::to_string(process) + " " + std::to_string(thread) + " " + std::to_string(number) + " ";
    return text + std::string(static_cast<std::size_t>(30 + number % 20), '=') + "\n";
}

constexpr int THREADS = 4;
constexpr int LINES = 600;

int appendFromThreads(LogFile& log, int process) {
    std::atomic<int> failed{0};
    on_threads(THREADS, [&](std::size_t thread) {
        for (int number = 0; number < LINES; ++number)
            failed += !log.append(testLine(process, static_cast<int>(thread), number));
    });
    return failed == 0 ? 0 : 1;
}

/// Lines of the program's own log file that hold `text`.
std::vector<std::string> loggedLines(const std::string& text) {
    return lines_of(test_folder() + "/log/platform_tests.log", text);
}

} // namespace

TEST_F(LogFileTest, ManyProcessesAndThreadsLoseAndMixNothing) {
    constexpr int processes = 4;
    constexpr std::size_t limit = 128 * 1024;
    std::vector<pid_t> children;
    for (int process = 0; process < processes; ++process) {
        LogFile log(m_path, limit);
        children.push_back(fork());
        if (children.back() == 0) _exit(appendFromThreads(log, process));
    }
    for (const pid_t child : children) EXPECT_EQ(0, status_of(child));

    std::multiset<std::string> found;
    int files = 0;
    for (; fs::exists(numbered(files)); ++files) {
        for (const std::string& line : lines_of(numbered(files))) found.insert(line + "\n");
        // A second process that put the same file aside once more would leave a short one.
        EXPECT_LE(files == 0 ? 0 : limit - 100, fs::file_size(numbered(files))) << files;
    }
    EXPECT_LE(3, files);
    ASSERT_GE(LogFile::LOG_FILE_KEPT, files - 1);
    EXPECT_EQ(std::size_t{processes} * THREADS * LINES, found.size());
    for (int line = 0; line < processes * THREADS * LINES; ++line)
        ASSERT_EQ(1U, found.count(
                          testLine(line / LINES / THREADS, line / LINES % THREADS, line % LINES)));
}

TEST_F(LogFileTest, FollowsTheNameAndKeepsAFewOldFiles) {
    LogFile first(m_path, 100);
    LogFile second(m_path, 100);
    EXPECT_TRUE(first.append(std::string(79, 'a') + "\n"));
    EXPECT_TRUE(second.append(std::string(79, 'b') + "\n"));
    EXPECT_TRUE(first.append("c\n")) << "after another one put the file aside";
    EXPECT_EQ(std::string(79, 'b') + "\nc\n", content(0));
    for (const char letter : std::string("defghi")) // each longer than the limit
        EXPECT_TRUE(first.append(std::string(300, letter) + "\n"));
    EXPECT_EQ('i', content(0).front());
    EXPECT_EQ('e', content(LogFile::LOG_FILE_KEPT).front());
    EXPECT_FALSE(fs::exists(numbered(LogFile::LOG_FILE_KEPT + 1)));

    fs::remove_all(m_folder);
    EXPECT_TRUE(first.append("j\n")) << "the folder is made again";
    EXPECT_EQ("j\n", content(0));
}

TEST_F(LogFileTest, WaitsForNobodysLock) {
    LogFile log(m_path, 100);
    EXPECT_TRUE(log.append(std::string(90, 'a') + "\n"));
    const int holder = open(m_path.c_str(), O_RDONLY | O_CLOEXEC);
    ASSERT_EQ(0, flock(holder, LOCK_EX));
    EXPECT_TRUE(log.append(std::string(90, 'b') + "\n"));
    EXPECT_EQ(182U, content(0).size());
    close(holder);
    EXPECT_TRUE(log.append("c\n"));
    EXPECT_EQ("c\n", content(0));
    EXPECT_EQ(182U, content(1).size());
}

TEST_F(LogFileTest, FailsQuietlyWhereItCannotWrite) {
    const auto appendTo = [](const std::string& path) { return LogFile(path, 100).append("x\n"); };
    EXPECT_FALSE(appendTo(m_folder + "/missing/deeper/program.log"));
    EXPECT_FALSE(appendTo(m_folder));
    EXPECT_FALSE(appendTo("/dev/full"));
    ASSERT_EQ(0, mkfifo((m_folder + "/pipe").c_str(), 0600));
    EXPECT_FALSE(appendTo(m_folder + "/pipe"));
    write_file(m_folder + "/target", "");
    fs::create_symlink(m_folder + "/target", m_path);
    EXPECT_FALSE(appendTo(m_path));
    EXPECT_EQ("", read_file(m_folder + "/target"));
}

TEST(Diagnostics, LinesHaveTimeProcessAndComponent) {
    const clsdcomp* const component = clsdcompreg("a test", "DIAGTEST", 0, 0, 3, nullptr);
    EXPECT_EQ(17, clsdprint(component, 3, "marker one\nforged"));
    EXPECT_EQ(10, clsdprintft(nullptr, 0, "marker %s", "two"));
    EXPECT_EQ(11, clsdprint(component, 0, "marker end\n"));
    const std::vector<std::string> lines = loggedLines("marker");
    ASSERT_EQ(3U, lines.size());
    const std::string head =
        R"(\d{4}-\d\d-\d\d \d\d:\d\d:\d\d\.\d{3} \[)" + std::to_string(getpid()) + R"(\] )";
    EXPECT_TRUE(std::regex_match(lines[0], std::regex(head + "DIAGTEST: marker one"))) << lines[0];
    EXPECT_TRUE(std::regex_match(lines[1], std::regex(head + "default: marker two"))) << lines[1];
    EXPECT_EQ(std::vector<std::string>{"\tforged"}, loggedLines("forged"));
}
