#include "daemons/vornd/CheckProcess.h"

#include "daemons/vornd/CheckSupervisor.h"

#include <fcntl.h>
#include <spawn.h>
#include <sys/wait.h>

#include <array>
#include <cerrno>
#include <csignal>

namespace vornd {

namespace {

/// Streams, signals and process group of a supervisor. A group of its own: the keys of the daemon's
/// terminal must not end it.
class SpawnPlan {
public:
    explicit SpawnPlan(int output) {
        posix_spawn_file_actions_init(&m_actions);
        posix_spawnattr_init(&m_attributes);
        sigset_t none;
        sigset_t all;
        sigemptyset(&none);
        sigfillset(&all);
        posix_spawnattr_setsigmask(&m_attributes, &none);
        posix_spawnattr_setsigdefault(&m_attributes, &all);
        posix_spawnattr_setpgroup(&m_attributes, 0);
        posix_spawnattr_setflags(&m_attributes, POSIX_SPAWN_SETSIGMASK | POSIX_SPAWN_SETSIGDEF |
                                                    POSIX_SPAWN_SETPGROUP);
        posix_spawn_file_actions_addopen(&m_actions, STDIN_FILENO, "/dev/null", O_RDONLY, 0);
        posix_spawn_file_actions_adddup2(&m_actions, output, STDOUT_FILENO);
        posix_spawn_file_actions_addopen(&m_actions, STDERR_FILENO, "/dev/null", O_WRONLY, 0);
    }
    ~SpawnPlan() {
        posix_spawn_file_actions_destroy(&m_actions);
        posix_spawnattr_destroy(&m_attributes);
    }
    SpawnPlan(const SpawnPlan&) = delete;
    SpawnPlan& operator=(const SpawnPlan&) = delete;

    int run(pid_t& process, const std::string& program, std::vector<std::string> words,
            std::vector<std::string> variables) {
        return posix_spawn(&process, program.c_str(), &m_actions, &m_attributes,
                           pointersTo(words).data(), pointersTo(variables).data());
    }

private:
    static std::vector<char*> pointersTo(std::vector<std::string>& words) {
        std::vector<char*> pointers;
        pointers.reserve(words.size() + 1);
        for (std::string& word : words) pointers.push_back(word.data());
        pointers.push_back(nullptr);
        return pointers;
    }

    posix_spawn_file_actions_t m_actions{};
    posix_spawnattr_t m_attributes{};
};

} // namespace

CheckProcess::CheckProcess(const CheckEnvironment& environment, const CheckSetting& setting) {
    int ends[2];
    int error = pipe2(ends, O_CLOEXEC | O_NONBLOCK) == 0 ? 0 : errno;
    if (error == 0) {
        m_output = Descriptor(ends[0]);
        const Descriptor writing(ends[1]);
        error = spawn(environment, setting, writing.get());
    }
    if (error == 0) return;
    m_process = -1;
    m_output.reset();
    m_failure = CheckReport{CheckReport::End::notStarted, error};
}

int CheckProcess::spawn(const CheckEnvironment& environment, const CheckSetting& setting,
                        int output) {
    std::vector<std::string> variables = environment.variables;
    variables.push_back("VORN_RESOURCE=" + setting.resource);
    variables.push_back("VORN_NODE=" + environment.node);
    return SpawnPlan(output).run(m_process, environment.program,
                                 {"vornd", CHECK_SUPERVISOR, std::to_string(getpid()),
                                  std::to_string(setting.limit.count()), setting.script},
                                 std::move(variables));
}

CheckProcess::~CheckProcess() {
    end();
}

std::optional<CheckReport> CheckProcess::take() {
    if (m_failure) return std::exchange(m_failure, std::nullopt);
    std::array<char, MAX_REPORT_SIZE> part{};
    const ssize_t count = read(m_output.get(), part.data(), part.size());
    if (count < 0 && (errno == EAGAIN || errno == EINTR)) return std::nullopt;
    if (count > 0 && m_text.size() < MAX_REPORT_SIZE)
        m_text.append(part.data(), static_cast<std::size_t>(count));
    if (count <= 0) await();
    if (m_reported || (count > 0 && !m_text.ends_with('\n'))) return std::nullopt;
    m_reported = true;
    return CheckReport::decode(m_text);
}

void CheckProcess::end() const {
    if (!isGone()) ::kill(m_process, SIGTERM);
}

void CheckProcess::kill() const {
    if (!isGone()) ::kill(m_process, SIGKILL);
}

/// Its output was closed, or it was killed: it ends now if it has not.
void CheckProcess::await() {
    if (isGone()) return;
    while (waitpid(m_process, nullptr, 0) < 0 && errno == EINTR) {
    }
    m_process = -1;
    m_output.reset();
}

} // namespace vornd
