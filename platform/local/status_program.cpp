#include "platform/include/node_config.h"
#include "platform/include/process.h"
#include "platform/local/error_text.h"

#include <spawn.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <cstdio>
#include <iostream>
#include <string>

namespace {

/// What a shell adds to the number of the signal that ended a program.
constexpr int SIGNAL_STATUS_BASE = 128;

int complain(const std::string& text) {
    std::cerr << "status program: " + text + "\n" << std::flush;
    return 1;
}

/// A program handed its own command line would hand it on to itself for ever.
bool is_this_program(const std::string& program) {
    struct stat own {};
    struct stat other {};
    return stat("/proc/self/exe", &own) == 0 && stat(program.c_str(), &other) == 0 &&
           own.st_dev == other.st_dev && own.st_ino == other.st_ino;
}

/// While the child runs, its end must be reported even where the caller's parent left child signals
/// ignored.
class ChildSignalDefault {
public:
    ChildSignalDefault() {
        struct sigaction standard {};
        standard.sa_handler = SIG_DFL;
        sigaction(SIGCHLD, nullptr, &m_before);
        if (m_before.sa_handler == SIG_IGN) sigaction(SIGCHLD, &standard, nullptr);
    }
    ~ChildSignalDefault() {
        if (m_before.sa_handler == SIG_IGN) sigaction(SIGCHLD, &m_before, nullptr);
    }
    ChildSignalDefault(const ChildSignalDefault&) = delete;
    ChildSignalDefault& operator=(const ChildSignalDefault&) = delete;

private:
    struct sigaction m_before {};
};

int run(const std::string& program, char** argv) {
    const ChildSignalDefault reported;
    pid_t child = 0;
    const int error = posix_spawn(&child, program.c_str(), nullptr, nullptr, argv, environ);
    if (error != 0) return complain(program + ": " + system_error_text(error));

    int status = 0;
    while (waitpid(child, &status, 0) < 0)
        if (errno != EINTR) return complain(program + ": " + system_error_text(errno));
    if (WIFSIGNALED(status)) return SIGNAL_STATUS_BASE + WTERMSIG(status);
    return WEXITSTATUS(status);
}

} // namespace

int vornqstatmai(int /*argc*/, char** argv) {
    node_config_error error;
    const node_config* const config = node_config_get(&error);
    if (config == nullptr) return complain(error.text());
    if (config->status_program.empty()) return complain("node.conf names none (status_program)");
    if (is_this_program(config->status_program))
        return complain(config->status_program + ": is this very program");
    std::cout.flush();
    std::fflush(nullptr);
    return run(config->status_program, argv);
}
