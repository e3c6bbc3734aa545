#include "platform/include/identity.h"

#include "platform/local/user_database.h"

#include <unistd.h>

#include <cstring>
#include <memory>
#include <string>

/// The services need no state: a context is only told apart from none.
struct scls_ctx {
    std::uint32_t magic;
};

namespace {

constexpr std::uint32_t CONTEXT_MAGIC = 0x5c151d00;

template <class Id>
Id* copy_of(const Id* id) {
    return id == nullptr ? nullptr : std::make_unique<Id>(*id).release();
}

int fail(slos* err, int result, const char* operation, const char* other) {
    slos_fill(err, SLOS_IDENTITY, operation, "identity", 0, other);
    return result;
}

/// Hands a name to the caller, whole or not at all.
int deliver(slos* err, const char* operation, const std::string& name, char* buffer,
            std::size_t size, std::size_t* length) {
    if (name.size() >= size)
        return fail(err, SCLS_TOO_LONG, operation, "the name does not fit its buffer");
    std::memcpy(buffer, name.c_str(), name.size() + 1);
    if (length != nullptr) *length = name.size();
    return SCLS_OK;
}

/// Empties the caller's results; false when there is no place for a name.
bool prepare(slos* err, char* buffer, std::size_t size, std::size_t* length) {
    slos_clear(err);
    if (length != nullptr) *length = 0;
    if (buffer == nullptr || size == 0) return false;
    buffer[0] = '\0';
    return true;
}

int user_name(slos* err, uid_t uid, char* buffer, std::size_t size, std::size_t* length) {
    constexpr const char* operation = "look up user name";
    if (!prepare(err, buffer, size, length)) return fail(err, SCLS_FAILED, operation, "no buffer");
    UserEntry user;
    if (const int result = find_user(uid, user, err); result != SCLS_OK) return result;
    return deliver(err, operation, user.name, buffer, size, length);
}

int group_name(slos* err, gid_t gid, char* buffer, std::size_t size, std::size_t* length) {
    constexpr const char* operation = "look up group name";
    if (!prepare(err, buffer, size, length)) return fail(err, SCLS_FAILED, operation, "no buffer");
    GroupEntry group;
    if (const int result = find_group(gid, group, err); result != SCLS_OK) return result;
    return deliver(err, operation, group.name, buffer, size, length);
}

} // namespace

scls_user_id* clsh_allocUserID() {
    return std::make_unique<scls_user_id>(scls_user_id{static_cast<uid_t>(-1), 0}).release();
}

scls_privgrp_id* clsh_allocPrivGrpID() {
    return std::make_unique<scls_privgrp_id>(scls_privgrp_id{static_cast<gid_t>(-1), 0}).release();
}

int clsh_mkUserID(const char* name, scls_user_id** id) {
    if (id == nullptr) return SCLS_FAILED;
    *id = nullptr;
    UserEntry user;
    if (const int result = find_user(name, user, nullptr); result != SCLS_OK) return result;
    *id = std::make_unique<scls_user_id>(scls_user_id{user.uid, 0}).release();
    return SCLS_OK;
}

int clsh_mkPrivGrpID(const char* name, scls_privgrp_id** id) {
    if (id == nullptr) return SCLS_FAILED;
    *id = nullptr;
    GroupEntry group;
    if (const int result = find_group(name, group, nullptr); result != SCLS_OK) return result;
    *id = std::make_unique<scls_privgrp_id>(scls_privgrp_id{group.gid, 0}).release();
    return SCLS_OK;
}

scls_user_id* clsh_cpUserID(const scls_user_id* id) {
    return copy_of(id);
}

scls_privgrp_id* clsh_cpPrivGrpID(const scls_privgrp_id* id) {
    return copy_of(id);
}

void clsh_freeUserID(scls_user_id* id) {
    const std::unique_ptr<scls_user_id> owned(id);
}

void clsh_freePrivGrpID(scls_privgrp_id* id) {
    const std::unique_ptr<scls_privgrp_id> owned(id);
}

int scls_meta_query_size(slos* err, unsigned /*flags*/, std::size_t* contextSize,
                         std::size_t* userIdSize, std::size_t* pidSize) {
    slos_clear(err);
    if (contextSize != nullptr) *contextSize = sizeof(scls_ctx);
    if (userIdSize != nullptr) *userIdSize = sizeof(scls_user_id);
    if (pidSize != nullptr) *pidSize = sizeof(scls_pid);
    return SCLS_OK;
}

int scls_meta_ctx_init(scls_ctx* area, slos* err, unsigned /*flags*/) {
    slos_clear(err);
    if (area == nullptr) return fail(err, SCLS_FAILED, "scls_meta_ctx_init", "no area");
    std::construct_at(area, scls_ctx{CONTEXT_MAGIC});
    return SCLS_OK;
}

int scls_meta_ctx_destroy(scls_ctx* area, slos* err, unsigned /*flags*/) {
    slos_clear(err);
    if (area == nullptr || area->magic != CONTEXT_MAGIC)
        return fail(err, SCLS_FAILED, "scls_meta_ctx_destroy", "no context");
    area->magic = 0;
    return SCLS_OK;
}

int scls_pid_get_self(scls_ctx* /*context*/, slos* err, unsigned /*flags*/, scls_pid* process) {
    slos_clear(err);
    if (process == nullptr) return fail(err, SCLS_FAILED, "scls_pid_get_self", "no place");
    *process = scls_pid{getpid()};
    return SCLS_OK;
}

int scls_pid_get_parent(scls_ctx* /*context*/, slos* err, unsigned /*flags*/, scls_pid* process) {
    slos_clear(err);
    if (process == nullptr) return fail(err, SCLS_FAILED, "scls_pid_get_parent", "no place");
    *process = scls_pid{getppid()};
    return SCLS_OK;
}

std::int64_t scls_pid_value(const scls_pid* process) {
    return process == nullptr ? 0 : process->pid;
}

int scls_idq_get_user_id(scls_ctx* /*context*/, slos* err, unsigned /*zero*/, scls_user_id* id) {
    slos_clear(err);
    if (id == nullptr) return fail(err, SCLS_FAILED, "scls_idq_get_user_id", "no place");
    *id = scls_user_id{geteuid(), 0};
    return SCLS_OK;
}

int scls_idq_get_user_name(scls_ctx* /*context*/, slos* err, unsigned /*zero*/, char* buffer,
                           std::size_t size, std::size_t* length) {
    return user_name(err, geteuid(), buffer, size, length);
}

int scls_idq_get_primary_privgrp_name(scls_ctx* /*context*/, slos* err, unsigned /*zero*/,
                                      char* buffer, std::size_t size, std::size_t* length) {
    return group_name(err, getegid(), buffer, size, length);
}

int scls_iddb_get_user_name_by_id(scls_ctx* /*context*/, slos* err, unsigned /*zero*/,
                                  const scls_user_id* id, char* buffer, std::size_t size,
                                  std::size_t* length) {
    const bool ready = prepare(err, buffer, size, length);
    if (!ready || id == nullptr)
        return fail(err, SCLS_FAILED, "look up user name", "no identifier or no buffer");
    return user_name(err, id->uid, buffer, size, length);
}

int scls_iddb_get_privgrp_name_by_id(scls_ctx* /*context*/, slos* err, unsigned /*zero*/,
                                     const scls_privgrp_id* id, char* buffer, std::size_t size,
                                     std::size_t* length) {
    const bool ready = prepare(err, buffer, size, length);
    if (!ready || id == nullptr)
        return fail(err, SCLS_FAILED, "look up group name", "no identifier or no buffer");
    return group_name(err, id->gid, buffer, size, length);
}

int scls_iddb_get_privgrp_id_by_name(scls_ctx* /*context*/, slos* err, unsigned /*zero*/,
                                     const char* name, scls_privgrp_id* id) {
    slos_clear(err);
    if (id == nullptr) return fail(err, SCLS_FAILED, "look up group", "no place");
    GroupEntry group;
    if (const int result = find_group(name, group, err); result != SCLS_OK) return result;
    *id = scls_privgrp_id{group.gid, 0};
    return SCLS_OK;
}

int scls_iddb_is_a_privgrp_member_by_id(scls_ctx* /*context*/, slos* err, unsigned /*zero*/,
                                        const scls_user_id* user, const scls_privgrp_id* group,
                                        int* member) {
    slos_clear(err);
    if (member != nullptr) *member = 0;
    if (user == nullptr || group == nullptr || member == nullptr)
        return fail(err, SCLS_FAILED, "look up membership", "no user, group or place");
    bool belongs = false;
    const int result = is_group_member(user->uid, group->gid, belongs, err);
    *member = belongs ? 1 : 0;
    return result;
}

int scls_iddb_has_ha_privs(scls_ctx* /*context*/, slos* err, unsigned /*zero*/,
                           const scls_user_id* user, int* privileged) {
    slos_clear(err);
    if (privileged != nullptr) *privileged = 0;
    if (user == nullptr || privileged == nullptr)
        return fail(err, SCLS_FAILED, "look up privileges", "no user or no place");
    bool holds = false;
    const int result = is_administrator(user->uid, holds, err);
    *privileged = holds ? 1 : 0;
    return result;
}

int scls_iddb_compare_user_id(const scls_user_id* a, const scls_user_id* b) {
    if (a == nullptr || b == nullptr) return a == b ? 0 : 1;
    return a->uid == b->uid ? 0 : 1;
}
