#include "tests/cluster/cluster_support.h"

#include "platform/include/clss.h"

#include <poll.h>
#include <sys/socket.h>

namespace fs = std::filesystem;

namespace {

constexpr unsigned LIMIT_S = 120; ///< a child that hangs is ended, which no test expects

pid_t start(const std::function<void()>& body) {
    std::fflush(nullptr);
    const pid_t pid = fork();
    if (pid != 0) return pid;
    alarm(LIMIT_S);
    body();
    std::fflush(nullptr);
    _exit(testing::Test::HasFailure() ? 99 : 0);
}

} // namespace

TestCluster::TestCluster(const std::string& lines) : m_folder(make_folder()) {
    for (const auto& [number, name] : {std::pair(1, "alpha"), {2, "beta"}, {4, "gamma"}})
        std::ofstream(m_folder + "/" + std::to_string(number))
            << "nodes = 1:alpha, 2:beta, 4:gamma\nnode_name = " << name
            << "\nnode_number = " << number << "\nruntime_dir = " << name
            << "\ncluster_dir = run\nlog_dir = log\n"
            << lines;
}

TestCluster::~TestCluster() {
    std::error_code ignored;
    fs::remove_all(m_folder, ignored);
}

void TestCluster::enter(int node) const {
    setenv("VORN_NODE_CONF", (m_folder + "/" + std::to_string(node)).c_str(), 1);
}

void TestCluster::run(int node, const std::function<void()>& body, int status) const {
    const pid_t pid = start([&] {
        enter(node);
        body();
    });
    EXPECT_EQ(status_of(pid), status);
}

std::vector<std::string> TestCluster::log() const {
    std::vector<std::string> lines = lines_of(m_folder + "/log/cluster_tests.log");
    for (std::string& line : lines) line.erase(0, line.find("] ") + 2);
    return lines;
}

Process::Process(const TestCluster& cluster, int node, const std::function<void(const Link&)>& body)
    : m_ends{-1, -1},
      m_link((socketpair(AF_UNIX, SOCK_SEQPACKET | SOCK_CLOEXEC, 0, m_ends), m_ends[0])),
      m_pid(start([&] {
          close(m_ends[0]);
          cluster.enter(node);
          body(Link(m_ends[1]));
      })) {
    close(m_ends[1]);
}

Process::~Process() {
    if (m_pid > 0) kill();
    close(m_ends[0]);
}

void Process::kill() {
    ::kill(m_pid, SIGKILL);
    wait();
}

int Process::wait() {
    const int status = status_of(m_pid);
    m_pid = -1;
    return status;
}

void Process::Link::tell(const std::string& line) const {
    send(m_fd, line.data(), line.size(), MSG_NOSIGNAL);
}

std::string Process::Link::hear() const {
    char line[1024];
    pollfd ready{m_fd, POLLIN, 0};
    const bool came = poll(&ready, 1, static_cast<int>(LIMIT_S) * 1000) > 0;
    const ssize_t length = came ? recv(m_fd, line, sizeof line, 0) : -1;
    EXPECT_TRUE(came) << "the other side is silent";
    return length > 0 ? std::string(line, static_cast<std::size_t>(length)) : "";
}

clsssctx* service() {
    static clsssctx* const ctx = [] {
        clsssctx* made = nullptr;
        char error[CLSSS_ERROR_SIZE];
        EXPECT_EQ(clsssinit(error, &made, nullptr, nullptr, CLSSS_MODE_LOCKS), CLSS_OK) << error;
        return made;
    }();
    return ctx;
}

const unsigned char* bytes(const std::string& text) {
    return reinterpret_cast<const unsigned char*>(text.c_str());
}
