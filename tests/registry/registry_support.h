#pragma once

#include "platform/include/registry.h"
#include "tests/support/test_node.h"

/// This program runs as node 3, "alpha", of a node.conf in a temporary folder. Each test of the
/// fixture has fresh registries and an open default context; the other tests have no registry.
class RegistryTest : public testing::Test {
protected:
    void SetUp() override;
    void TearDown() override;

    /// A value as its bytes stand; a failed read is "<status>".
    static void put(const std::string& key, const std::string& bytes,
                    przks_dtype type = przks_dtype_ZELTEXT);
    static std::string get(const std::string& key);
    /// Takes the registry's service down, which leaves the REBOOT level, and up again.
    static void setDown(bool isDown);
    /// What was logged since the test began.
    static std::string logged();
    static void expectLogged(const std::vector<std::string>& texts);
};
