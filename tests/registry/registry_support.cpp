#include "tests/registry/registry_support.h"

#include "tav/registry/clsgenv.h"
#include "tav/registry/tavzks.h"

namespace fs = std::filesystem;

namespace {

std::size_t logRead = 0;

[[maybe_unused]] const auto* const node =
    TestNode::of("node_name = alpha\nnode_number = 3\nnodes = 3:alpha, 5:beta\n"
                 "cluster_registry = dir:zks\nlocal_registry = dir:zkl\n",
                 [] { setenv("ZEL_VORNDEBUG_VORNZKS", "1", 1); });

} // namespace

void RegistryTest::SetUp() {
    for (const char* store : {"/zks", "/zkl"}) {
        const std::string url = "dir:" + test_folder() + store;
        ASSERT_EQ(przks_create_store(url.c_str(), nullptr, nullptr, nullptr), PRZKS_OK);
    }
    ASSERT_EQ(TAV::tavzksinitctx(PRZKS_DEFAULT), PRZKS_OK);
    logRead += logged().size();
}

void RegistryTest::TearDown() {
    TAV::tavzksTerm();
    TAV::tavzklTerm();
    clsgenvterm();
    for (const char* store : {"/zks", "/zkl"}) fs::remove_all(test_folder() + store);
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
    const std::string file = test_folder() + "/zks/DOWN";
    fs::remove(file);
    if (isDown) std::ofstream{file};
}

std::string RegistryTest::logged() {
    return diagnostic_log().substr(logRead);
}

void RegistryTest::expectLogged(const std::vector<std::string>& texts) {
    const std::string log = logged();
    for (const std::string& text : texts) EXPECT_NE(log.find(text), std::string::npos) << text;
}
