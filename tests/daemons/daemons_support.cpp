#include "tests/daemons/daemons_support.h"

#include "daemons/vornd/Profile.h"
#include "platform/include/diagnostics.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <chrono>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <memory>
#include <stdexcept>
#include <thread>

namespace {

constexpr const char* NODE_CONF = "node_name = alpha\n"
                                  "nodes = 1:alpha, 2:beta\n"
                                  "runtime_dir = run\n"
                                  "log_dir = log\n"
                                  "cluster_registry = dir:zks\n";

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

bool eventually(const std::function<bool()>& condition) {
    const auto limit = std::chrono::steady_clock::now() + std::chrono::seconds(20);
    while (!condition()) {
        if (std::chrono::steady_clock::now() > limit) return false;
        std::this_thread::sleep_for(std::chrono::milliseconds(5));
    }
    return true;
}

TestRegistry::TestRegistry(std::string folder, const std::vector<std::string>& roots)
    : m_path(testFolder() + "/" + std::move(folder)) {
    const std::string url = "dir:" + m_path;
    przks_init_arg arg{PRZKS_INIT_BULK, url.c_str()};
    if (przks_create_store(url.c_str(), nullptr, nullptr, nullptr) != 0 ||
        przks_init_ext2(&m_ctx, PRZKS_DEFAULT, nullptr, nullptr, &arg) != 0)
        throw std::runtime_error("no store at " + url);
    for (const std::string& root : roots) set(root, "");
}

TestRegistry::~TestRegistry() {
    przks_terminate(m_ctx);
    std::filesystem::remove_all(m_path);
}

void TestRegistry::set(const std::string& key, const std::string& text) const {
    if (przks_create_n_set_key(m_ctx, nullptr, key.c_str(), nullptr, przks_dtype_ZELTEXT,
                               text.c_str(), static_cast<unsigned>(text.size() + 1), nullptr) != 0)
        throw std::runtime_error("cannot set " + key);
}

void TestRegistry::setNumber(const std::string& key) const {
    przks_create_n_set_key(m_ctx, nullptr, key.c_str(), nullptr, przks_dtype_UB4, "\1\2\3\4", 4,
                           nullptr);
}

void TestRegistry::remove(const std::string& key) const {
    przks_key* opened = nullptr;
    przks_open_key(m_ctx, key.c_str(), &opened);
    przks_delete_key(m_ctx, opened, PRZKS_DELETE_TREE);
    przks_close_key(m_ctx, opened);
}

std::string TestRegistry::text(const std::string& key) const {
    char value[256] = "-";
    unsigned length = sizeof value;
    przks_key* opened = nullptr;
    if (przks_open_key(m_ctx, key.c_str(), &opened) == 0)
        przks_get_value(m_ctx, opened, nullptr, value, &length);
    przks_close_key(m_ctx, opened);
    return value;
}

void TestRegistry::resource(const std::string& name, const std::vector<std::string>& values) const {
    std::string key = "VORN.CUR." + name;
    std::replace(key.begin() + 9, key.end(), '.', '!');
    std::vector<std::string> all{"NAME=" + name, "TYPE=t", "AUTO_START=1"};
    all.insert(all.end(), values.begin(), values.end());
    for (const std::string& entry : all) {
        const std::size_t equals = entry.find('=');
        set(key + "." + entry.substr(0, equals), entry.substr(equals + 1));
    }
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
