#include "daemons/vornd/CheckSupervisor.h"

#include "daemons/vornd/CheckReport.h"
#include "daemons/vornd/Descriptor.h"
#include "platform/include/environment.h"

#include <fcntl.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <csignal>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <optional>
#include <sstream>
#include <string>
#include <vector>

extern char** environ;

namespace vornd {

namespace {

using Clock = std::chrono::steady_clock;
using namespace std::chrono_literals;

constexpr int ARGUMENTS = 5;
constexpr int SUPERVISOR_FAILED = 1;
/// Between two rounds of killing, for the killed to go.
constexpr auto KILL_PAUSE = 2ms;
/// What lives on in spite of being killed (the kernel is busy for it) must not keep the report from
/// being told.
constexpr auto REPORT_DELAY = 2s;

/// The signals that this process waits for; all are blocked.
sigset_t waitedSignals() {
    sigset_t signals;
    sigemptyset(&signals);
    sigaddset(&signals, SIGCHLD);
    sigaddset(&signals, SIGTERM);
    return signals;
}

timespec toTimespec(Clock::duration time) {
    const auto left = std::max<std::int64_t>(std::chrono::nanoseconds(time).count(), 0);
    return {left / 1'000'000'000, left % 1'000'000'000};
}

/// Becomes the parent of whatever its descendants leave behind, and ends with the daemon.
bool takeCharge(pid_t daemon) {
    sigset_t all;
    sigfillset(&all);
    sigprocmask(SIG_SETMASK, &all, nullptr);
    return prctl(PR_SET_CHILD_SUBREAPER, 1) == 0 && prctl(PR_SET_PDEATHSIG, SIGTERM) == 0 &&
           getppid() == daemon;
}

/// In the script's process; returns the error number when the script cannot be run.
int becomeScript(const char* script) {
    // The script ends when its supervisor is killed, which cannot end it any more.
    prctl(PR_SET_PDEATHSIG, SIGKILL);
    setsid();
    const Descriptor null(open("/dev/null", O_RDWR | O_CLOEXEC));
    for (const int stream : {STDIN_FILENO, STDOUT_FILENO, STDERR_FILENO})
        if (dup2(null.get(), stream) < 0) return errno;
    if (chdir("/") != 0) return errno;
    sigset_t none;
    sigemptyset(&none);
    sigprocmask(SIG_SETMASK, &none, nullptr);
    const std::string path = script;
    std::string argument = CHECK_ARGUMENT;
    std::vector<char> name(path.c_str(), path.c_str() + path.size() + 1);
    char* const arguments[] = {name.data(), argument.data(), nullptr};
    execve(script, arguments, environ);
    return errno;
}

/// Starts the script; `error` is 0, or the system's reason why it does not run.
pid_t startScript(const char* script, int& error) {
    int ends[2];
    error = 0;
    if (pipe2(ends, O_CLOEXEC) != 0) {
        error = errno;
        return -1;
    }
    Descriptor reading(ends[0]);
    Descriptor writing(ends[1]);
    const pid_t child = fork();
    if (child == 0) {
        const int failure = becomeScript(script);
        [[maybe_unused]] const ssize_t told = write(writing.get(), &failure, sizeof failure);
        _exit(SUPERVISOR_FAILED);
    }
    if (child < 0) error = errno;
    writing.reset();
    int failure = 0;
    if (child > 0 && read(reading.get(), &failure, sizeof failure) == sizeof failure)
        error = failure;
    return child;
}

/// Reaps all who have ended; false when no child is left. `status` becomes that of `wanted` when it
/// is among them.
bool reap(pid_t wanted, std::optional<int>& status) {
    while (true) {
        int ended = 0;
        const pid_t child = waitpid(-1, &ended, WNOHANG);
        if (child == 0) return true;
        if (child < 0 && errno != EINTR) return false;
        if (child == wanted) status = ended;
    }
}

/// Children as the kernel lists them for this process's only thread; nothing when it does not.
std::optional<std::vector<pid_t>> listedChildren() {
    const std::string self = std::to_string(getpid());
    std::ifstream list("/proc/self/task/" + self + "/children");
    if (!list) return std::nullopt;
    return std::vector<pid_t>(std::istream_iterator<pid_t>(list), {});
}

/// The parent in a process's status line: the second field after the name, which ends at the last
/// parenthesis.
pid_t parentOf(const std::filesystem::path& process) {
    std::ifstream file(process / "stat");
    std::string line;
    std::getline(file, line);
    const std::size_t end = line.rfind(')');
    if (end == std::string::npos) return -1;
    std::istringstream fields(line.substr(end + 1));
    char state = 0;
    pid_t parent = 0;
    return fields >> state >> parent ? parent : -1;
}

/// The same by asking every process for its parent.
std::vector<pid_t> searchedChildren() {
    std::vector<pid_t> children;
    std::error_code error;
    for (const auto& entry : std::filesystem::directory_iterator("/proc", error)) {
        const std::string name = entry.path().filename();
        const pid_t process = parse_int32(name.data(), name.size());
        if (process > 0 && parentOf(entry.path()) == getpid()) children.push_back(process);
    }
    return children;
}

/// Kills all descendants: the children, then those who become children by that, until none is left
/// or the time has come.
bool endAll(Clock::time_point end) {
    std::optional<int> ignored;
    while (reap(-1, ignored)) {
        const auto listed = listedChildren();
        for (const pid_t child : listed ? *listed : searchedChildren()) kill(child, SIGKILL);
        if (!reap(-1, ignored)) return true;
        if (Clock::now() >= end) return false;
        const timespec pause = toTimespec(KILL_PAUSE);
        nanosleep(&pause, nullptr);
    }
    return true;
}

/// Waits for the script's own end; false when the daemon does not want the answer any more.
bool await(pid_t script, std::optional<int>& status, Clock::time_point end) {
    const sigset_t signals = waitedSignals();
    while (reap(script, status) && !status) {
        const Clock::duration left = end - Clock::now();
        if (left <= Clock::duration::zero()) return true;
        const timespec time = toTimespec(left);
        if (sigtimedwait(&signals, nullptr, &time) == SIGTERM) return false;
    }
    return true;
}

CheckReport reportOf(const std::optional<int>& status) {
    if (!status) return {CheckReport::End::hung, 0};
    if (WIFSIGNALED(*status)) return {CheckReport::End::killed, WTERMSIG(*status)};
    return {CheckReport::End::exited, WEXITSTATUS(*status)};
}

void tell(const CheckReport& report) {
    const std::string text = report.encode();
    [[maybe_unused]] const ssize_t told = write(STDOUT_FILENO, text.data(), text.size());
}

CheckReport run(const char* script, std::chrono::seconds limit) {
    int error = 0;
    const Clock::time_point end = Clock::now() + limit;
    const pid_t child = startScript(script, error);
    if (error != 0) return {CheckReport::End::notStarted, error};
    std::optional<int> status;
    if (!await(child, status, end)) return {};
    return reportOf(status);
}

} // namespace

int superviseCheck(int argc, char** argv) {
    if (argc != ARGUMENTS) return SUPERVISOR_FAILED;
    const pid_t daemon = parse_int32(argv[2], std::strlen(argv[2]));
    const std::chrono::seconds limit(parse_int32(argv[3], std::strlen(argv[3])));
    if (!takeCharge(daemon)) return SUPERVISOR_FAILED;
    const CheckReport report = run(argv[4], limit);
    const bool done = endAll(Clock::now() + REPORT_DELAY);
    tell(report);
    if (!done) endAll(Clock::time_point::max());
    return 0;
}

} // namespace vornd
