#pragma once

#include "platform/include/registry.h"

#include <gtest/gtest.h>

#include <string>

/// This test program runs as node 3, "alpha", of a node.conf in a temporary folder. Each test of
/// the fixture has a fresh cluster registry and an open default context on it; the other tests have
/// no registry. The level of the registry's log module is 1.
class RegistryTest : public testing::Test {
protected:
    void SetUp() override;
    void TearDown() override;

    /// Sets a value as its bytes stand, and reads one so; a failed read is "<status>".
    static void put(const std::string& key, const std::string& bytes,
                    przks_dtype type = przks_dtype_ZELTEXT);
    static std::string get(const std::string& key);
    /// Takes the registry's service down, which leaves the REBOOT level, and up again.
    static void setDown(bool isDown);
    /// What was logged since the test began, or the last call.
    std::string logged();

private:
    std::size_t m_logRead = 0;
};

/// The temporary folder.
const std::string& testFolder();
