#include "platform/local/user_database.h"

#include "platform/include/node_config.h"
#include "platform/local/configuration_record.h"
#include "platform/local/error_text.h"

#include <grp.h>
#include <pwd.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <vector>

namespace {

/// An entry that needs more is damaged; groups with many members reach tens of kilobytes.
constexpr std::size_t ENTRY_MAX = 16 * 1024 * 1024;
constexpr std::size_t ENTRY_FIRST = 1024;
/// The kernel's own limit of groups for one process.
constexpr std::size_t GROUPS_MAX = 65536;
constexpr std::size_t GROUPS_FIRST = 64;

constexpr const char* LOOK_UP_USER = "look up user";
constexpr const char* LOOK_UP_GROUP = "look up group";

/// Calls one of the re-entrant database functions with a growing buffer until its entry fits.
/// Returns the error number; `found` is null when there is no such entry.
template <class Entry, class Function>
int look_up(Function function, Entry& entry, Entry*& found, std::vector<char>& buffer) {
    buffer.resize(ENTRY_FIRST);
    while (true) {
        const int error = function(&entry, buffer.data(), buffer.size(), &found);
        if (error == ERANGE && buffer.size() < ENTRY_MAX)
            buffer.resize(buffer.size() * 2);
        else if (error != EINTR)
            return error;
    }
}

/// The database functions disagree about how they say that there is no entry.
bool says_none(int error) {
    return error == 0 || error == ENOENT || error == ESRCH;
}

int report(slos* err, const char* operation, int error, const std::string& key) {
    const std::string shown = quotable(key, 64);
    if (says_none(error)) {
        slos_fill(err, SLOS_IDENTITY, operation, "database", 0,
                  ("there is no '" + shown + "'").c_str());
        return SCLS_NONE;
    }
    slos_fill(err, SLOS_SYSTEM, operation, "database", error,
              ("'" + shown + "': " + system_error_text(error)).c_str());
    return SCLS_FAILED;
}

template <class Function>
int find_user_with(Function function, const std::string& key, UserEntry& user, slos* err) {
    passwd entry{};
    passwd* found = nullptr;
    std::vector<char> buffer;
    const int error = look_up(function, entry, found, buffer);
    if (error != 0 || found == nullptr) return report(err, LOOK_UP_USER, error, key);
    user = UserEntry{found->pw_name, found->pw_uid, found->pw_gid};
    return SCLS_OK;
}

template <class Function>
int find_group_with(Function function, const std::string& key, GroupEntry& result, slos* err) {
    group entry{};
    group* found = nullptr;
    std::vector<char> buffer;
    const int error = look_up(function, entry, found, buffer);
    if (error != 0 || found == nullptr) return report(err, LOOK_UP_GROUP, error, key);
    result = GroupEntry{found->gr_name, found->gr_gid};
    return SCLS_OK;
}

/// All groups of a user; empty when there are more than any process can hold.
std::vector<gid_t> groups_of(const UserEntry& user) {
    std::vector<gid_t> groups(GROUPS_FIRST);
    while (true) {
        int count = static_cast<int>(groups.size());
        const int result =
            getgrouplist(user.name.c_str(), user.primary_group, groups.data(), &count);
        const auto needed = static_cast<std::size_t>(std::max(count, 0));
        if (result >= 0) {
            groups.resize(needed);
            return groups;
        }
        if (groups.size() > GROUPS_MAX) return {};
        groups.resize(std::max(needed, groups.size() * 2));
    }
}

} // namespace

int find_user(uid_t uid, UserEntry& user, slos* err) {
    const auto function = [uid](passwd* entry, char* buffer, std::size_t size, passwd** found) {
        return getpwuid_r(uid, entry, buffer, size, found);
    };
    return find_user_with(function, std::to_string(uid), user, err);
}

int find_user(const char* name, UserEntry& user, slos* err) {
    if (name == nullptr || *name == '\0') return report(err, LOOK_UP_USER, 0, "");
    const auto function = [name](passwd* entry, char* buffer, std::size_t size, passwd** found) {
        return getpwnam_r(name, entry, buffer, size, found);
    };
    return find_user_with(function, name, user, err);
}

int find_group(gid_t gid, GroupEntry& result, slos* err) {
    const auto function = [gid](group* entry, char* buffer, std::size_t size, group** found) {
        return getgrgid_r(gid, entry, buffer, size, found);
    };
    return find_group_with(function, std::to_string(gid), result, err);
}

int find_group(const char* name, GroupEntry& result, slos* err) {
    if (name == nullptr || *name == '\0') return report(err, LOOK_UP_GROUP, 0, "");
    const auto function = [name](group* entry, char* buffer, std::size_t size, group** found) {
        return getgrnam_r(name, entry, buffer, size, found);
    };
    return find_group_with(function, name, result, err);
}

int is_group_member(uid_t uid, gid_t gid, bool& member, slos* err) {
    member = false;
    UserEntry user;
    if (const int result = find_user(uid, user, err); result != SCLS_OK) return result;
    const std::vector<gid_t> groups = groups_of(user);
    if (groups.empty()) return report(err, "look up membership", EOVERFLOW, user.name);
    member = std::find(groups.begin(), groups.end(), gid) != groups.end();
    return SCLS_OK;
}

int is_administrator(uid_t uid, bool& administrator, slos* err) {
    administrator = uid == 0;
    if (administrator) return SCLS_OK;
    node_config_error error;
    const node_config* const config = node_config_get(&error);
    if (config == nullptr) {
        fill_configuration_record(err, error);
        return SCLS_FAILED;
    }
    GroupEntry admins;
    const int result = find_group(config->admin_group.c_str(), admins, err);
    return result == SCLS_OK ? is_group_member(uid, admins.gid, administrator, err) : result;
}
