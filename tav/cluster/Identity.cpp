#include "tav/cluster/Identity.h"

#include "tav/cluster/identityLog.h"

#include <utility>

namespace TAV {

namespace {

constexpr std::size_t NAME_SIZE = 128;
constexpr std::size_t PRIMARY_GROUP_SIZE = 32;
constexpr const char* NO_NAME = "no name for scls_user_id value found";

/// The name that an id-to-name service of the platform gives; false when it fails.
template <class Service, class Id>
bool nameOf(Service service, const Id* id, std::string& name, slos& record) {
    char buffer[NAME_SIZE] = {};
    std::size_t length = 0;
    if (service(identityContext(), &record, 0, id, buffer, sizeof buffer, &length) != 0)
        return false;
    name = buffer;
    return true;
}

} // namespace

CLS_Debug::CLSlog& s_dbug() {
    return CLS_Debug::s_dbug();
}

void dumpSlos(slos& record) {
    logIdentity("SLOS DATA| Category: ", record.category, " Operation: ", record.operation,
                " Loc: ", record.location, " OS error: ", record.oserror,
                " Other : ", record.other);
}

Identity::Identity(std::string name, bool isGroup) {
    if (name.empty()) {
        logIdentity("Exception: Identity construction failed with", " name: ", name);
        throw InvalidIdentity(name, false);
    }
    if (isGroup)
        makeGroup(name);
    else
        makeUser(name);
}

Identity::Identity(const scls_user_id* id) {
    CLS_Debug::clsAssert(id != nullptr, "id != NULL", "Identity", __builtin_LINE());
    constructIdentity(id);
}

Identity::Identity(const scls_privgrp_id* id) {
    CLS_Debug::clsAssert(id != nullptr, "id != NULL", "Identity", __builtin_LINE());
    constructGroupIdentity(id);
}

Identity::Identity(const Identity& other)
    : m_userId(clsh_cpUserID(other.m_userId.get())), m_isGroup(other.m_isGroup),
      m_name(other.m_name), m_groupNames(other.m_groupNames) {
    for (const GroupId& id : other.m_groupIds) m_groupIds.emplace_back(clsh_cpPrivGrpID(id.get()));
}

Identity& Identity::operator=(const Identity& other) {
    if (this == &other) return *this;
    Identity copy(other);
    m_userId = std::move(copy.m_userId);
    m_isGroup = copy.m_isGroup;
    m_name = std::move(copy.m_name);
    m_groupIds = std::move(copy.m_groupIds);
    m_groupNames = std::move(copy.m_groupNames);
    return *this;
}

void Identity::makeGroup(const std::string& name) {
    scls_privgrp_id* made = nullptr;
    traceCall("clsh_mkPrivGrpID");
    const int failed = clsh_mkPrivGrpID(name.c_str(), &made);
    const GroupId id(made);
    if (failed != 0) {
        logIdentity("Exception: Identity construction, group creation failed", " with name: ", name,
                    " and error: ", failed);
        throw InvalidIdentity(name, true);
    }
    constructGroupIdentity(id.get());
}

void Identity::makeUser(const std::string& name) {
    m_name = name;
    scls_user_id* made = nullptr;
    traceCall("clsh_mkUserID");
    const int failed = clsh_mkUserID(name.c_str(), &made);
    m_userId.reset(made);
    if (failed == 0) return;
    logIdentity("Exception: Identity construction, user creation failed", " with name: ", name,
                " and error: ", failed);
    throw InvalidIdentity(name, false);
}

void Identity::constructIdentity(const scls_user_id* id) {
    m_userId.reset(clsh_cpUserID(id));
    slos record{};
    traceCall("scls_iddb_get_user_name_by_id");
    if (nameOf(scls_iddb_get_user_name_by_id, m_userId.get(), m_name, record)) return;
    logIdentity("Exception: User Identity Construction failed with",
                " scls_user_id: ", static_cast<const void*>(id));
    throw InvalidIdentity(NO_NAME, false);
}

void Identity::constructGroupIdentity(const scls_privgrp_id* id) {
    m_isGroup = true;
    m_groupIds.emplace_back(clsh_cpPrivGrpID(id));
    slos record{};
    std::string name;
    traceCall("scls_iddb_get_privgrp_name_by_id");
    if (nameOf(scls_iddb_get_privgrp_name_by_id, id, name, record)) {
        m_groupNames.push_back(std::move(name));
        return;
    }
    logIdentity("Exception: Group Identity Construction failed with",
                " scls_user_id: ", static_cast<const void*>(id));
    dumpSlos(record);
    throw InvalidIdentity(NO_NAME, false);
}

Identity Identity::getCurrentIdentity() {
    const UserId uid(clsh_allocUserID());
    slos record{};
    traceCall("scls_idq_get_user_id");
    if (const int failed = scls_idq_get_user_id(identityContext(), &record, 0, uid.get());
        failed != 0) {
        logIdentity("Exception: Current Identity retrieval failed with", " error: ", failed);
        throw InvalidIdentity("Unable to retrieve current identity:", false);
    }
    Identity identity(uid.get());
    char group[PRIMARY_GROUP_SIZE] = {};
    std::size_t length = 0;
    traceCall("scls_idq_get_primary_privgrp_name");
    if (scls_idq_get_primary_privgrp_name(identityContext(), &record, 0, group, sizeof group,
                                          &length) == 0)
        identity.setGroupIdentity(group);
    return identity;
}

void Identity::setGroupIdentity(const std::string& groupName) {
    slos record{};
    if (!isSuperUser() && !isMember(groupName, record)) {
        logIdentity("Exception: setGroupIdentity failed while checking", " groupname: ", groupName);
        dumpSlos(record);
        throw InvalidIdentity("user id does not belong to the group", false);
    }
    m_groupNames.push_back(groupName);
    GroupId id(clsh_allocPrivGrpID());
    traceCall("scls_iddb_get_privgrp_id_by_name");
    if (scls_iddb_get_privgrp_id_by_name(identityContext(), &record, 0, groupName.c_str(),
                                         id.get()) != 0) {
        logIdentity("Exception: setGroupIdentity failed while looking group id for ",
                    " groupname: ", groupName);
        dumpSlos(record);
        throw InvalidIdentity("unable to get the group id from the group name", false);
    }
    m_groupIds.push_back(std::move(id));
}

bool Identity::isSuperUser() const {
    if (m_isGroup) return false;
    slos record{};
    int privileged = 0;
    traceCall("scls_iddb_has_ha_privs");
    if (scls_iddb_has_ha_privs(identityContext(), &record, 0, m_userId.get(), &privileged) == 0)
        return privileged != 0;
    dumpSlos(record);
    return false;
}

bool Identity::belongsToGroup(std::string groupName) const {
    slos record{};
    return isMember(groupName, record);
}

bool Identity::isMember(const std::string& groupName, slos& record) const {
    traceIdentity("Entering Identity::belongsToGroup():GroupName=[", groupName, "]");
    const GroupId id(clsh_allocPrivGrpID());
    traceCall("scls_iddb_get_privgrp_id_by_name");
    if (scls_iddb_get_privgrp_id_by_name(identityContext(), &record, 0, groupName.c_str(),
                                         id.get()) != 0) {
        dumpSlos(record);
        return false;
    }
    traceIdentity("scls_iddb_get_privgrp_id_by_name Succeeded");
    int member = 0;
    traceCall("scls_iddb_is_a_privgrp_member_by_id");
    if (scls_iddb_is_a_privgrp_member_by_id(identityContext(), &record, 0, m_userId.get(), id.get(),
                                            &member) != 0)
        return false;
    traceIdentity("scls_iddb_is_a_privgrp_member_by_id Succeeded");
    return member != 0;
}

bool Identity::operator==(const Identity& other) const {
    if (m_userId == nullptr) return other.m_userId == nullptr;
    traceCall("scls_iddb_compare_user_id");
    return scls_iddb_compare_user_id(m_userId.get(), other.m_userId.get()) == 0;
}

scls_privgrp_id* Identity::getPrimaryGroup() const {
    return m_groupIds.empty() ? nullptr : m_groupIds.front().get();
}

std::string Identity::getPrimaryGroupName() const {
    return m_groupNames.empty() ? std::string() : m_groupNames.front();
}

std::string Identity::toString() const {
    std::string text = m_name + "/";
    for (const std::string& group : m_groupNames) text += group + ",";
    return text + "/GI=" + (m_isGroup ? "1" : "0");
}

} // namespace TAV
