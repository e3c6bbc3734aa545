#include "tests/msg/msg_support.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <memory>

namespace {

class Node : public testing::Environment {
public:
    void SetUp() override {
        std::filesystem::create_directory(node_folder() + "/run");
        const std::string file = node_folder() + "/node.conf";
        std::ofstream(file) << "node_name = testnode\nruntime_dir = run\nlog_dir = log\n";
        setenv("VORN_NODE_CONF", file.c_str(), 1);
    }
    void TearDown() override { std::filesystem::remove_all(node_folder()); }
};

// The framework takes ownership.
[[maybe_unused]] const auto* const node =
    testing::AddGlobalTestEnvironment(std::make_unique<Node>().release());

} // namespace

const std::string& node_folder() {
    // Nothing of the children, which end as programs do, may take it away.
    static const std::string path = [] {
        char name[] = "/tmp/vorn_msg_XXXXXX";
        return std::string(mkdtemp(name));
    }();
    return path;
}
