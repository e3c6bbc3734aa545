#pragma once

#include "platform/include/registry.h"
#include "tests/support/test_node.h"

/// Short ways to use a store. Values are told as text, failures as the status in angle brackets.

int set(przks_ctx* ctx, const std::string& name, const std::string& value);
std::string get(przks_ctx* ctx, const std::string& name);
/// The names of the direct sub-keys, each followed by a space.
std::string subkeys(przks_ctx* ctx, const std::string& name);
/// Everything below a key: "name=value " in byte order, names relative to it.
std::string dump(przks_ctx* ctx, const std::string& name);
/// Opens the key, runs `use` and closes it: the first status that is not 0.
int on_key(przks_ctx* ctx, const std::string& name, const std::function<int(przks_key*)>& use);
/// Deletes a key and all that is below it.
int remove(przks_ctx* ctx, const std::string& name);
std::string last_error(przks_ctx* ctx);

/// Runs `work` in a child process and returns its answer; "<died>" when it gave none.
std::string in_child(const std::function<std::string()>& work);

/// A store in a temporary folder that other users may enter.
class RegistryStore : public ::testing::Test {
protected:
    void SetUp() override;
    void TearDown() override;

    /// A context on m_url, or null; m_status and m_text say how it went.
    przks_ctx* open(unsigned level, unsigned flags = 0);
    /// Files that only killed writers leave.
    [[nodiscard]] int leftovers() const;

    std::string m_folder, m_store, m_url;
    char m_text[PRZKS_ERRORTEXT_SIZE] = {};
    int m_status = 0;
    przks_ctx* m_ctx = nullptr; ///< at the DEFAULT level
};
