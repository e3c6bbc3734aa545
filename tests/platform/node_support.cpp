#include "tests/platform/node_support.h"

#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdlib>
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

/// Sets the node up before the first test and takes its folder away after the last.
class TestNode : public testing::Environment {
public:
    void SetUp() override {
        const std::string conf = test_folder() + "/node.conf";
        write_file(conf, NODE_CONF);
        setenv("VORN_NODE_CONF", conf.c_str(), 1);
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

void write_file(const std::string& path, const std::string& text) {
    std::ofstream(path, std::ios::binary) << text;
}

std::string read_file(const std::string& path) {
    std::ifstream file(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(file), {}};
}
