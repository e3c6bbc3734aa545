#include "tests/cppgen/cppgen_support.h"

#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <thread>

namespace fs = std::filesystem;

namespace node {
namespace {

struct Node {
    Node() {
        std::ofstream(folder / "node.conf") << "node_name = alpha\nlog_dir = log\n";
        setenv("VORN_NODE_CONF", (folder / "node.conf").c_str(), 1);
        setenv("ZEL_VORN_HOME", folder.c_str(), 1);
        setenv("LC_ALL", "C", 1);
        for (const char* const name : {"ZEL_VORNDEBUG_ALL", "VORN_DEVELOPMENT"}) unsetenv(name);
    }
    ~Node() {
        std::error_code ignored;
        fs::remove_all(folder, ignored); // a child ends without destructors
    }

    std::string pattern = "/tmp/cppgen_tests.XXXXXX";
    fs::path folder = mkdtemp(pattern.data());
};

const Node s_node; // NOLINT(cert-err58-cpp): without its folder no test can run

std::string contents(const std::string& name) {
    std::ostringstream text;
    text << std::ifstream(s_node.folder / name).rdbuf();
    return text.str();
}

std::string logText() {
    return contents("log/" + std::string(program_invocation_short_name) + ".log");
}

[[noreturn]] void runChild(const std::function<void()>& body, const Environment& environment) {
    for (const auto& [name, value] : environment) setenv(name.c_str(), value.c_str(), 1);
    const bool redirected = std::freopen((folder() + "/out").c_str(), "w", stdout) != nullptr &&
                            dup2(STDOUT_FILENO, STDERR_FILENO) == STDERR_FILENO;
    if (redirected) body();
    std::fflush(nullptr);
    _exit(redirected && !::testing::Test::HasFailure() ? 0 : 99);
}

} // namespace

std::string folder() {
    return s_node.folder;
}

Lines logOf(const std::function<void()>& body) {
    const std::size_t start = logText().size();
    body();
    std::istringstream added(logText().substr(start));
    Lines found;
    for (std::string line; std::getline(added, line);)
        found.push_back(line.substr(line.find("] ") + 2)); // behind time and process id
    return found;
}

std::size_t mentions(const Lines& lines, const std::string& text) {
    const auto has = [&](const std::string& line) { return line.find(text) != std::string::npos; };
    return static_cast<std::size_t>(std::count_if(lines.begin(), lines.end(), has));
}

void onThreads(const std::function<void(std::size_t)>& body) {
    std::vector<std::thread> threads;
    for (std::size_t i = 0; i < 4; ++i) threads.emplace_back(body, i);
    for (std::thread& thread : threads) thread.join();
}

Outcome inChild(const std::function<void()>& body, int status, const Environment& environment) {
    int ended = 0;
    Outcome outcome;
    outcome.log = logOf([&] {
        std::fflush(nullptr);
        const pid_t child = fork();
        if (child == 0) runChild(body, environment);
        EXPECT_EQ(waitpid(child, &ended, 0), child);
    });
    outcome.out = contents("out");
    EXPECT_EQ(WIFSIGNALED(ended) ? 128 + WTERMSIG(ended) : WEXITSTATUS(ended), status)
        << outcome.out;
    return outcome;
}

} // namespace node
