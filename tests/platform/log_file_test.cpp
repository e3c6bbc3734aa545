#include "platform/include/clock.h"
#include "platform/include/diagnostics.h"
#include "platform/local/log_file.h"
#include "tests/platform/node_support.h"

#include <fcntl.h>
#include <sys/file.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <filesystem>
#include <fstream>
#include <regex>
#include <set>
#include <thread>

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

constexpr int PROCESSES = 4;
constexpr int THREADS = 4;
constexpr int LINES = 600;

int appendFromThreads(const std::string& path, std::int64_t limit, int process) {
    LogFile log(path, limit);
    std::atomic<int> failed{0};
    std::vector<std::thread> threads;
    for (int thread = 0; thread < THREADS; ++thread)
        threads.emplace_back([&, thread] {
            for (int number = 0; number < LINES; ++number)
                if (!log.append(testLine(process, thread, number))) ++failed;
        });
    for (std::thread& thread : threads) thread.join();
    return failed == 0 ? 0 : 1;
}

/// Lines of the program's own log file that hold `text`.
std::vector<std::string> loggedLines(const std::string& text) {
    char name[4096];
    if (clsdget_logname(name, sizeof name) != 0) return {};
    std::vector<std::string> found;
    std::ifstream log(name);
    for (std::string line; std::getline(log, line);)
        if (line.find(text) != std::string::npos) found.push_back(line);
    return found;
}

} // namespace

TEST_F(LogFileTest, ManyProcessesAndThreadsLoseAndMixNothing) {
    constexpr std::size_t limit = 128 * 1024;
    std::vector<pid_t> children;
    for (int process = 0; process < PROCESSES; ++process) {
        const pid_t child = fork();
        if (child == 0) _exit(appendFromThreads(m_path, limit, process));
        children.push_back(child);
    }
    for (const pid_t child : children) {
        int status = -1;
        ASSERT_EQ(child, waitpid(child, &status, 0));
        EXPECT_EQ(0, status);
    }

    std::multiset<std::string> found;
    int files = 0;
    for (; fs::exists(numbered(files)); ++files) {
        std::ifstream file(numbered(files));
        for (std::string line; std::getline(file, line);) found.insert(line + "\n");
        // A second process that put the same file aside once more would leave a short one.
        if (files != 0) {
            EXPECT_LE(limit - 100, fs::file_size(numbered(files))) << files;
        }
    }
    EXPECT_LE(3, files);
    ASSERT_GE(LogFile::LOG_FILE_KEPT, files - 1);
    EXPECT_EQ(static_cast<std::size_t>(PROCESSES * THREADS * LINES), found.size());
    for (int process = 0; process < PROCESSES; ++process)
        for (int thread = 0; thread < THREADS; ++thread)
            for (int number = 0; number < LINES; ++number)
                ASSERT_EQ(1U, found.count(testLine(process, thread, number)));
}

TEST_F(LogFileTest, FollowsTheNameAndKeepsAFewOldFiles) {
    LogFile first(m_path, 100);
    LogFile second(m_path, 100);
    EXPECT_TRUE(first.append(std::string(79, 'a') + "\n"));
    EXPECT_TRUE(second.append(std::string(79, 'b') + "\n"));
    EXPECT_TRUE(first.append("c\n")) << "after another one put the file aside";
    EXPECT_EQ(std::string(79, 'a') + "\n", content(1));
    EXPECT_EQ(std::string(79, 'b') + "\nc\n", content(0));

    EXPECT_TRUE(first.append(std::string(300, 'd') + "\n")) << "a line longer than the limit";
    for (const char letter : std::string("efghi"))
        EXPECT_TRUE(first.append(std::string(99, letter) + "\n"));
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
    const int reader = open((m_folder + "/pipe").c_str(), O_RDONLY | O_NONBLOCK | O_CLOEXEC);
    EXPECT_FALSE(appendTo(m_folder + "/pipe")) << "also with a reader";
    close(reader);
    write_file(m_folder + "/target", "");
    fs::create_symlink(m_folder + "/target", m_path);
    EXPECT_FALSE(appendTo(m_path));
    EXPECT_EQ("", read_file(m_folder + "/target"));
}

TEST_F(LogFileTest, GoesOnInOneFileWhenItCannotBePutAside) {
    fs::create_directories(numbered(LogFile::LOG_FILE_KEPT) + "/x"); // no file can take this name
    write_file(numbered(LogFile::LOG_FILE_KEPT - 1), "older\n");
    write_file(numbered(1), "old\n");
    LogFile log(m_path, 10);
    EXPECT_TRUE(log.append("12345678\n"));
    EXPECT_TRUE(log.append("abcdefgh\n"));
    EXPECT_EQ("12345678\nabcdefgh\n", content(0));
    EXPECT_EQ("old\n", content(1));
}

TEST_F(LogFileTest, RespectsTheProcessFileLimit) {
    EXPECT_EQ(0, run_in_child([&] {
                  const rlimit limit{50, 50};
                  setrlimit(RLIMIT_FSIZE, &limit);
                  LogFile log(m_path, 1'000'000);
                  const bool small = log.append(std::string(39, 'a') + "\n");
                  const bool next = log.append(std::string(39, 'b') + "\n");
                  const bool large = log.append(std::string(60, 'c') + "\n");
                  return small && next && !large ? 0 : 1;
              }));
    EXPECT_EQ(40U, content(1).size());
}

TEST_F(LogFileTest, TakesNoStandardStreamsNumber) {
    EXPECT_EQ(0, run_in_child([&] {
                  close(STDOUT_FILENO);
                  LogFile log(m_path, 1000);
                  const bool appended = log.append("x\n");
                  const bool isFree = fcntl(STDOUT_FILENO, F_GETFD) < 0 && errno == EBADF;
                  return appended && isFree ? 0 : 1;
              }));
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
    char name[4096];
    ASSERT_EQ(0, clsdget_logname(name, sizeof name));
    EXPECT_EQ(test_folder() + "/log/platform_tests.log", name);
    EXPECT_NE(0, clsdget_logname(name, 10));
    EXPECT_STREQ("", name);
}

TEST(Diagnostics, LevelsFilterLines) {
    clsdcomp* const component = clsdcompreg("", "LEVELS", 0, 0, 1, nullptr);
    EXPECT_EQ(component, clsdgetcompid("LEVELS"));
    EXPECT_EQ(nullptr, clsdgetcompid("NOSUCH"));
    EXPECT_EQ(12, clsdprint(component, 2, "filtered-out")) << "taken, though not written";
    static int observed = -1;
    clsd_setcallbacks(nullptr, [](const char*, int level) { observed = level; });
    EXPECT_EQ(0, clsd_change_level("LEVELS", 2));
    EXPECT_EQ(2, observed);
    EXPECT_NE(0, clsd_change_level("NOSUCH", 2));
    clsd_setcallbacks(nullptr, nullptr);
    clsdprint(component, 2, "let-through");
    const auto off = static_cast<int>(CLSD_STATE_OFF);
    const clsdcomp* const silent = clsdcompreg("", "SILENT", 0, off, 9, nullptr);
    clsdprint(silent, 1, "switched-off");
    EXPECT_EQ(1U, loggedLines("let-through").size());
    EXPECT_EQ(0U, loggedLines("filtered-out").size() + loggedLines("switched-off").size());
}

TEST(Diagnostics, LongTextsAreTakenInPieces) {
    const std::string text = "long-text " + std::string(CLSD_MAX_LINE, 'x');
    const int taken = clsdprint(nullptr, 0, text);
    EXPECT_EQ(static_cast<int>(CLSD_MAX_LINE), taken);
    EXPECT_EQ(taken, clsdprintft(nullptr, 0, "%s", text.c_str()));
    EXPECT_EQ(2U, loggedLines("long-text").size());
}

TEST(Diagnostics, AlertsStandInTheLog) {
    clsd_alertprintft(6015U);
    clsd_alertprintft(6015U, "(:ID:) %n%s", "/tmp/x.log");
    clsd_alertprintft(1U, "VORN", 173);
    const char* const arguments[] = {"first", nullptr, "third"};
    sendstatus(1, 6015, arguments);
    const auto has = [](const char* text) { return loggedLines(text).size() == 1; };
    EXPECT_TRUE(has("ALERT: alert 6015: (:ID:) %n%s (log file /tmp/x.log)"));
    EXPECT_TRUE(has("ALERT: level 1, message VORN-0173"));
    EXPECT_TRUE(has("ALERT: status message 1, alert 6015: first, , third"));
}

TEST(Diagnostics, UnusableLogIsSilentAndFast) {
    const std::string folder = test_folder() + "/log";
    const std::string output = test_folder() + "/output";
    clsdprint(nullptr, 0, "before");
    fs::rename(folder, folder + ".away");
    write_file(folder, "a file where the folder should be");
    const int status = run_in_child([&] {
        const int file = open(output.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0600);
        dup2(file, STDOUT_FILENO);
        dup2(file, STDERR_FILENO);
        const std::uint64_t before = sltrgatime64();
        for (int line = 0; line < 1000; ++line)
            if (clsdprint(nullptr, 0, "a line") != 6) return 1;
        return sltrgatime64() - before < 2000 ? 0 : 2;
    });
    EXPECT_EQ(0, status);
    EXPECT_EQ("", read_file(output));
    fs::remove(folder);
    fs::rename(folder + ".away", folder);
}

TEST(Diagnostics, ProgramNameIsMadeSafe) {
    const int status = run_in_child([] {
        static char name[] = "../../evil name";
        program_invocation_short_name = name;
        char path[4096];
        if (clsdget_logname(path, sizeof path) != 0) return 1;
        return path == test_folder() + "/log/_._.._evil_name.log" ? 0 : 2;
    });
    EXPECT_EQ(0, status);
}

namespace {

int dumpedLines = 0;
int flushedAt = -1;

int countLine(const char*, ...) {
    return ++dumpedLines;
}

} // namespace

TEST(StackDump, WritesFramesThenFlushes) {
    kgdsdst(3, countLine, [] { flushedAt = dumpedLines; });
    EXPECT_LT(1, dumpedLines);
    EXPECT_EQ(dumpedLines, flushedAt);
    kgdsdst(3, nullptr, nullptr);
}
