#pragma once

#include "daemons/vornd/Caller.h"
#include "daemons/vornd/ResourceModel.h"
#include "tav/comm/Container.h"

#include <set>
#include <string>
#include <utility>
#include <vector>

/// The node that this test program runs as: "alpha" of "alpha" and "beta", with all its folders in
/// one temporary folder, which is gone afterwards.
const std::string& testFolder();

void writeFile(const std::string& path, const std::string& text);
std::string readFile(const std::string& path);

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
