#include "tests/msg/msg_support.h"

#include "platform/include/diagnostics.h"

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <memory>

namespace {

class TestNode : public testing::Environment {
public:
    void SetUp() override {
        ASSERT_NE(nullptr, mkdtemp(m_folder.data()));
        const std::string conf = m_folder + "/node.conf";
        std::ofstream(conf) << "node_name = testnode\nruntime_dir = run\nlog_dir = log\n"
                               "cluster_registry = dir:zks\nlocal_registry = dir:zkl\n";
        setenv("VORN_NODE_CONF", conf.c_str(), 1);
    }
    void TearDown() override { std::filesystem::remove_all(m_folder); }

private:
    std::string m_folder = "/tmp/vorn-msg-XXXXXX";
};

// The framework takes ownership.
[[maybe_unused]] const auto* const environment =
    testing::AddGlobalTestEnvironment(std::make_unique<TestNode>().release());

} // namespace

std::string logged_text() {
    char name[4096];
    if (clsdget_logname(name, sizeof name) != 0) return {};
    std::ifstream log(name);
    return {std::istreambuf_iterator<char>(log), {}};
}
