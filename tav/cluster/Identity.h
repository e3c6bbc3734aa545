#pragma once

#include "cppgen/clsLog.h"
#include "platform/include/identity.h"
#include "platform/include/slos.h"
#include "tav/cluster/AuthExceptions.h"

#include <memory>
#include <string>
#include <vector>

namespace TAV {

/// Owned identifiers of the platform.
struct IdRelease {
    void operator()(scls_user_id* id) const { clsh_freeUserID(id); }
    void operator()(scls_privgrp_id* id) const { clsh_freePrivGrpID(id); }
};
using UserId = std::unique_ptr<scls_user_id, IdRelease>;
using GroupId = std::unique_ptr<scls_privgrp_id, IdRelease>;

/// The log that failures and calls of the identity services go to.
CLS_Debug::CLSlog& s_dbug();

/// Writes an error record to the log.
void dumpSlos(slos& record);

/// A user, with the groups that it acts in, or a group, as the platform's identity services know
/// it. Identifiers are the platform's and are never interpreted. Copies are independent. Used by
/// one thread at a time. What cannot be built is an InvalidIdentity; questions that cannot be
/// answered are answered with false. Every failure stands in the log.
class Identity {
public:
    /// No user, no group.
    Identity() = default;
    /// The named user, without groups, or the named group.
    Identity(std::string name, bool isGroup);
    /// Of a copy of the identifier, whose name is looked up. Null is a failed assertion.
    explicit Identity(const scls_user_id* id);
    explicit Identity(const scls_privgrp_id* id);
    Identity(const Identity& other);
    Identity& operator=(const Identity& other);
    ~Identity() = default;

    /// The user that runs the process, with its primary group when that has a name.
    static Identity getCurrentIdentity();
    /// Adds a group that the identity acts in: any for an administrator, otherwise one that the
    /// user belongs to. When the name has no group, the name stays added.
    void setGroupIdentity(const std::string& groupName);
    /// Whether the user holds the cluster administrator's privileges.
    [[nodiscard]] bool isSuperUser() const;
    [[nodiscard]] bool belongsToGroup(std::string groupName) const;
    /// Whether both are the same user; names and groups do not count.
    bool operator==(const Identity& other) const;
    /// Borrowed; null without a group.
    [[nodiscard]] scls_privgrp_id* getPrimaryGroup() const;
    /// Empty without a group.
    [[nodiscard]] std::string getPrimaryGroupName() const;
    /// The name, "/", each group name and ",", "/", "GI=" and 1 for a group, else 0.
    [[nodiscard]] std::string toString() const;

private:
    void makeGroup(const std::string& name);
    void makeUser(const std::string& name);
    void constructIdentity(const scls_user_id* id);
    void constructGroupIdentity(const scls_privgrp_id* id);
    bool isMember(const std::string& groupName, slos& record) const;

    UserId m_userId; ///< null for a group and for an empty identity
    bool m_isGroup = false;
    std::string m_name;
    std::vector<GroupId> m_groupIds;       ///< the first is the primary group
    std::vector<std::string> m_groupNames; ///< in the order of m_groupIds
};

} // namespace TAV
