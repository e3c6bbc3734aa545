#pragma once

#include "platform/include/identity.h"

#include <sys/types.h>

#include <string>

/// The machine's users and groups. Each operation returns a scls_result and, unless that is
/// SCLS_OK, fills the record (null is allowed). Thread-safe.

struct UserEntry {
    std::string name;
    uid_t uid = 0;
    gid_t primary_group = 0;
};

struct GroupEntry {
    std::string name;
    gid_t gid = 0;
};

int find_user(uid_t uid, UserEntry& user, slos* err);
int find_user(const char* name, UserEntry& user, slos* err);
int find_group(gid_t gid, GroupEntry& group, slos* err);
int find_group(const char* name, GroupEntry& group, slos* err);

/// Whether the group is the user's primary one or one of its further ones.
int is_group_member(uid_t uid, gid_t gid, bool& member, slos* err);
/// Whether the user is the superuser or belongs to the configured administrators' group.
int is_administrator(uid_t uid, bool& administrator, slos* err);
