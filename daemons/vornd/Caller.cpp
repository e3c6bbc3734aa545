#include "daemons/vornd/Caller.h"

#include "platform/include/identity.h"

#include <algorithm>
#include <memory>

namespace vornd {

namespace {

struct FreeUser {
    void operator()(scls_user_id* id) const { clsh_freeUserID(id); }
};
using UserId = std::unique_ptr<scls_user_id, FreeUser>;

/// Longest user name, as a connection carries it.
constexpr std::size_t USER_NAME_SIZE = 128;

bool isNumber(const std::string& name) {
    return std::all_of(name.begin(), name.end(), [](char c) { return c >= '0' && c <= '9'; });
}

UserId lookUp(const std::string& name) {
    scls_user_id* id = nullptr;
    if (name.empty() || clsh_mkUserID(name.c_str(), &id) != SCLS_OK) return nullptr;
    return UserId(id);
}

bool isPrivileged(const std::string& name) {
    const UserId user = lookUp(name);
    int privileged = 0;
    return user != nullptr &&
           scls_iddb_has_ha_privs(nullptr, nullptr, 0, user.get(), &privileged) == SCLS_OK &&
           privileged != 0;
}

bool isMember(const std::string& name, const std::string& groupName) {
    const UserId user = lookUp(name);
    scls_privgrp_id group{};
    int member = 0;
    return user != nullptr &&
           scls_iddb_get_privgrp_id_by_name(nullptr, nullptr, 0, groupName.c_str(), &group) ==
               SCLS_OK &&
           scls_iddb_is_a_privgrp_member_by_id(nullptr, nullptr, 0, user.get(), &group, &member) ==
               SCLS_OK &&
           member != 0;
}

} // namespace

SystemCaller::SystemCaller(const std::string& user) : m_name(isNumber(user) ? "" : user) {}

bool SystemCaller::isAdministrator() {
    if (!m_administrator) m_administrator = isPrivileged(m_name);
    return *m_administrator;
}

bool SystemCaller::belongsTo(const std::string& group) {
    const auto known = m_groups.find(group);
    if (known != m_groups.end()) return known->second;
    return m_groups.emplace(group, isMember(m_name, group)).first->second;
}

std::string superuserName() {
    constexpr scls_user_id superuser{0, 0};
    char name[USER_NAME_SIZE];
    const int result =
        scls_iddb_get_user_name_by_id(nullptr, nullptr, 0, &superuser, name, sizeof name, nullptr);
    return result == SCLS_OK ? name : "0";
}

} // namespace vornd
