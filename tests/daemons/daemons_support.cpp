#include "tests/daemons/daemons_support.h"

#include "daemons/vornd/Profile.h"
#include "platform/include/diagnostics.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <memory>
#include <stdexcept>

namespace {

constexpr const char* NODE_CONF = "node_name = alpha\n"
                                  "nodes = 1:alpha, 2:beta\n"
                                  "runtime_dir = run\n"
                                  "log_dir = log\n";

std::string makeFolder() {
    std::string name = "/tmp/vorn-daemons-XXXXXX";
    if (mkdtemp(name.data()) == nullptr) std::abort();
    std::filesystem::permissions(name, std::filesystem::perms(0755));
    return name;
}

class TestNode : public testing::Environment {
public:
    void SetUp() override {
        writeFile(testFolder() + "/node.conf", NODE_CONF);
        setenv("VORN_NODE_CONF", (testFolder() + "/node.conf").c_str(), 1);
    }
    void TearDown() override { std::filesystem::remove_all(testFolder()); }
};

// The framework takes ownership.
[[maybe_unused]] const auto* const environment =
    testing::AddGlobalTestEnvironment(std::make_unique<TestNode>().release());

} // namespace

const std::string& testFolder() {
    static const std::string folder = makeFolder();
    return folder;
}

void writeFile(const std::string& path, const std::string& text) {
    std::ofstream(path, std::ios::binary) << text;
}

std::string readFile(const std::string& path) {
    std::ifstream file(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(file), {}};
}

std::string diagnosticLog() {
    char path[4096];
    return clsdget_logname(path, sizeof path) == 0 ? readFile(path) : "";
}

vornd::ResourceModel modelOf(const std::vector<std::string>& profiles) {
    std::vector<vornd::ResourcePointer> resources;
    for (const std::string& text : profiles) {
        vornd::Resource resource;
        vornd::ProfileFault fault;
        if (!vornd::parseProfile(text, resource, fault)) throw std::runtime_error(fault.text());
        resources.push_back(std::make_shared<const vornd::Resource>(std::move(resource)));
    }
    std::sort(resources.begin(), resources.end(),
              [](const auto& a, const auto& b) { return a->name() < b->name(); });
    return vornd::ResourceModel(std::move(resources));
}

TAV::Container statusRequest(const std::vector<std::string>& entries) {
    TAV::Container request("UI_STAT");
    for (const std::string& entry : entries) request.SetProperty(entry);
    return request;
}

std::string describe(const TAV::Container& container) {
    std::string text;
    for (const TAV::Container::Child& child : container.children()) {
        const TAV::Container* const inner = TAV::asContainer(child.message.get());
        text += text.empty() ? "" : " ";
        text += child.key + (inner == nullptr ? "=" + std::string(*child.message)
                                              : "{" + describe(*inner) + "}");
    }
    return text;
}
