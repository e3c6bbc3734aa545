#pragma once

#include "daemons/vornd/Caller.h"
#include "daemons/vornd/ResourceModel.h"
#include "platform/include/registry.h"
#include "tav/comm/Container.h"

#include <functional>
#include <set>
#include <string>
#include <utility>
#include <vector>

/// The node that this test program runs as: "alpha" of "alpha" and "beta", with all its folders in
/// one temporary folder, which is gone afterwards.
const std::string& testFolder();

void writeFile(const std::string& path, const std::string& text);
std::string readFile(const std::string& path);

/// Whether the condition holds within a generous limit.
bool eventually(const std::function<bool()>& condition);

/// A fresh store below the test folder, gone at the end: "zks" is the node's own registry.
class TestRegistry {
public:
    explicit TestRegistry(std::string folder = "zks", const std::vector<std::string>& roots = {});
    ~TestRegistry();
    TestRegistry(const TestRegistry&) = delete;
    TestRegistry& operator=(const TestRegistry&) = delete;

    [[nodiscard]] const std::string& path() const { return m_path; }
    void set(const std::string& key, const std::string& text) const;
    /// A value of 4 bytes that is no text.
    void setNumber(const std::string& key) const;
    void remove(const std::string& key) const;
    /// The text of a key, "-" when there is none.
    [[nodiscard]] std::string text(const std::string& key) const;
    /// A complete resource of the name with further NAME=value.
    void resource(const std::string& name, const std::vector<std::string>& values = {}) const;

private:
    std::string m_path;
    przks_ctx* m_ctx = nullptr;
};

/// The lines of this program's diagnostic log.
std::string diagnosticLog();

/// A user as a test wants it.
class MadeUpCaller final : public vornd::Caller {
public:
    MadeUpCaller(std::string name, std::set<std::string> groups, bool administrator = false)
        : m_name(std::move(name)), m_groups(std::move(groups)), m_administrator(administrator) {}
    [[nodiscard]] const std::string& name() const override { return m_name; }
    bool isAdministrator() override { return m_administrator; }
    bool belongsTo(const std::string& group) override { return m_groups.contains(group); }

private:
    std::string m_name;
    std::set<std::string> m_groups;
    bool m_administrator;
};

/// A model of profiles, in any order.
vornd::ResourceModel modelOf(const std::vector<std::string>& profiles);

/// A request named UI_STAT of entries KEY=value.
TAV::Container statusRequest(const std::vector<std::string>& entries);

/// "key=text key{key=text}" in order of keys, without the root's name.
std::string describe(const TAV::Container& container);
