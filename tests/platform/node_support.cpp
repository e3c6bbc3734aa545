#include "tests/platform/node_support.h"

#include <gtest/gtest.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <memory>

namespace {

constexpr const char* NODE_CONF = "node_name = testnode\n"
                                  "nodes = 1:testnode, 2:other\n"
                                  "runtime_dir = run\n"
                                  "log_dir = log\n"
                                  "cluster_registry = dir:zks\n"
                                  "local_registry = dir:zkl\n"
                                  "message_time = 1\n";

using Body = int (*)(const std::string&);
constexpr std::size_t ARGUMENT_MAX = 4096;

/// Parent's end of the connection with the process that runs bodies in fresh children of its own.
int nursery = -1;

/// A request is the body's address, which is the same in all forked processes, and its argument.
void serve_requests(int fd) {
    char request[sizeof(Body) + ARGUMENT_MAX];
    while (true) {
        const ssize_t length = recv(fd, request, sizeof request, 0);
        if (length < static_cast<ssize_t>(sizeof(Body))) _exit(0);
        Body body = nullptr;
        std::memcpy(&body, request, sizeof body);
        const std::string argument(request + sizeof body, request + length);
        const int status = run_in_child([&] { return body(argument); });
        send(fd, &status, sizeof status, MSG_NOSIGNAL);
    }
}

/// Before the first test, so that its children inherit nothing of any.
void start_nursery() {
    int ends[2];
    if (socketpair(AF_UNIX, SOCK_SEQPACKET | SOCK_CLOEXEC, 0, ends) != 0) std::abort();
    if (fork() == 0) {
        close(ends[0]);
        serve_requests(ends[1]);
    }
    close(ends[1]);
    nursery = ends[0];
}

/// Sets the node up before the first test and takes its folder away after the last.
class TestNode : public testing::Environment {
public:
    void SetUp() override {
        const std::string conf = test_folder() + "/node.conf";
        write_file(conf, NODE_CONF);
        setenv("VORN_NODE_CONF", conf.c_str(), 1);
        start_nursery();
    }
    void TearDown() override { std::filesystem::remove_all(test_folder()); }
};

// The framework takes ownership.
[[maybe_unused]] const auto* const environment =
    testing::AddGlobalTestEnvironment(std::make_unique<TestNode>().release());

std::string make_folder() {
    std::string name = "/tmp/vorn-platform-XXXXXX";
    if (mkdtemp(name.data()) == nullptr) std::abort();
    std::filesystem::permissions(name, std::filesystem::perms(0755));
    return name;
}

} // namespace

const std::string& test_folder() {
    static const std::string folder = make_folder();
    return folder;
}

int run_in_child(const std::function<int()>& body) {
    const pid_t child = fork();
    if (child == 0) _exit(body());
    int status = 0;
    if (child < 0 || waitpid(child, &status, 0) != child) return -1;
    return WIFSIGNALED(status) ? 128 + WTERMSIG(status) : WEXITSTATUS(status);
}

int run_in_fresh_process(Body body, const std::string& argument) {
    std::string request(sizeof body, '\0');
    std::memcpy(request.data(), &body, sizeof body);
    request += argument;
    int status = -1;
    send(nursery, request.data(), request.size(), MSG_NOSIGNAL);
    return recv(nursery, &status, sizeof status, 0) == sizeof status ? status : -1;
}

void write_file(const std::string& path, const std::string& text) {
    std::ofstream(path, std::ios::binary) << text;
}

std::string read_file(const std::string& path) {
    std::ifstream file(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(file), {}};
}
