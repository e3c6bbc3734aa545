#include "tests/cppgen/cppgen_support.h"

namespace node {
namespace {

[[maybe_unused]] const auto* const s_node = TestNode::of("node_name = alpha\n", [] {
    setenv("ZEL_VORN_HOME", test_folder().c_str(), 1);
    setenv("LC_ALL", "C", 1);
    for (const char* const name : {"ZEL_VORNDEBUG_ALL", "VORN_DEVELOPMENT"}) unsetenv(name);
});

[[noreturn]] void runChild(const std::function<void()>& body, const Environment& environment) {
    for (const auto& [name, value] : environment) setenv(name.c_str(), value.c_str(), 1);
    const bool redirected =
        std::freopen((test_folder() + "/out").c_str(), "w", stdout) != nullptr &&
        dup2(STDOUT_FILENO, STDERR_FILENO) == STDERR_FILENO;
    if (redirected) body();
    std::fflush(nullptr);
    _exit(redirected && !::testing::Test::HasFailure() ? 0 : 99);
}

} // namespace

Lines logOf(const std::function<void()>& body) {
    const std::size_t start = diagnostic_log().size();
    body();
    std::istringstream added(diagnostic_log().substr(start));
    Lines found;
    for (std::string line; std::getline(added, line);)
        found.push_back(line.substr(line.find("] ") + 2)); // behind time and process id
    return found;
}

std::size_t mentions(const Lines& lines, const std::string& text) {
    const auto has = [&](const std::string& line) { return line.find(text) != std::string::npos; };
    return static_cast<std::size_t>(std::count_if(lines.begin(), lines.end(), has));
}

Outcome inChild(const std::function<void()>& body, int status, const Environment& environment) {
    int ended = -1;
    Outcome outcome;
    outcome.log = logOf([&] {
        std::fflush(nullptr);
        const pid_t child = fork();
        if (child == 0) runChild(body, environment);
        ended = status_of(child);
    });
    outcome.out = read_file(test_folder() + "/out");
    EXPECT_EQ(ended, status) << outcome.out;
    return outcome;
}

} // namespace node
