#include "tests/registry/registry_support.h"

#include "tav/registry/clsgenv.h"
#include "tav/registry/tavzks.h"

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <memory>

namespace fs = std::filesystem;

namespace {

std::size_t logRead = 0;

class TestNode : public testing::Environment {
public:
    void SetUp() override {
        const std::string conf = testFolder() + "/node.conf";
        std::ofstream(conf) << "node_name = alpha\nnode_number = 3\nnodes = 3:alpha, 5:beta\n"
                               "runtime_dir = run\nlog_dir = log\n"
                               "cluster_registry = dir:zks\nlocal_registry = dir:zkl\n";
        fs::create_directory(testFolder() + "/run");
        setenv("VORN_NODE_CONF", conf.c_str(), 1);
        setenv("ZEL_VORNDEBUG_VORNZKS", "1", 1);
    }
    void TearDown() override { fs::remove_all(testFolder()); }
};

// The framework takes ownership.
[[maybe_unused]] const auto* const environment =
    testing::AddGlobalTestEnvironment(std::make_unique<TestNode>().release());

} // namespace

const std::string& testFolder() {
    static const std::string folder = [] {
        std::string name = "/tmp/vorn-registry-tests-XXXXXX";
        if (mkdtemp(name.data()) == nullptr) std::abort();
        return name;
    }();
    return folder;
}

void RegistryTest::SetUp() {
    for (const char* store : {"/zks", "/zkl"}) {
        const std::string url = "dir:" + testFolder() + store;
        ASSERT_EQ(przks_create_store(url.c_str(), nullptr, nullptr, nullptr), PRZKS_OK);
    }
    ASSERT_EQ(TAV::tavzksinitctx(PRZKS_DEFAULT), PRZKS_OK);
    logRead += logged().size();
}

void RegistryTest::TearDown() {
    TAV::tavzksTerm();
    TAV::tavzklTerm();
    clsgenvterm();
    for (const char* store : {"/zks", "/zkl"}) fs::remove_all(testFolder() + store);
}

void RegistryTest::put(const std::string& key, const std::string& bytes, przks_dtype type) {
    const auto length = static_cast<unsigned>(bytes.size());
    EXPECT_EQ(przks_create_n_set_key(TAV::tavzksgetctx(), nullptr, key.c_str(), nullptr, type,
                                     bytes.data(), length, nullptr),
              PRZKS_OK);
}

std::string RegistryTest::get(const std::string& name) {
    przks_ctx* const ctx = TAV::tavzksgetctx();
    przks_key* key = nullptr;
    std::string value(PRZKS_MAX_VALUE, '\0');
    unsigned length = PRZKS_MAX_VALUE;
    int rc = przks_open_key(ctx, name.c_str(), &key);
    if (rc == PRZKS_OK) rc = przks_get_value(ctx, key, nullptr, value.data(), &length);
    przks_close_key(ctx, key);
    return rc == PRZKS_OK ? value.substr(0, length) : '<' + std::to_string(rc) + '>';
}

void RegistryTest::setDown(bool isDown) {
    const std::string file = testFolder() + "/zks/DOWN";
    fs::remove(file);
    if (isDown) std::ofstream{file};
}

std::string RegistryTest::logged() {
    std::ifstream file(testFolder() + "/log/registry_tests.log", std::ios::binary);
    return std::string(std::istreambuf_iterator<char>(file), {}).substr(logRead);
}

void RegistryTest::expectLogged(const std::vector<std::string>& texts) {
    const std::string log = logged();
    for (const std::string& text : texts) EXPECT_NE(log.find(text), std::string::npos) << text;
}
