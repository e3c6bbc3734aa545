#pragma once

#include "platform/include/slos.h"

#include <cstddef>
#include <cstdint>

/// Users and groups of the machine. Identifiers are flat values: they are copied byte by byte and
/// travel in messages. Every operation takes the context of global slot 2 (null is allowed), an
/// error record (null is allowed) and a 0, and returns 0 on success. Thread-safe.

struct scls_ctx;

struct scls_user_id {
    std::uint32_t uid;
    std::uint32_t tag;
};

struct scls_privgrp_id {
    std::uint32_t gid;
    std::uint32_t tag;
};

/// A process of this machine. Flat as well, and of a fixed size in messages.
struct scls_pid {
    std::int64_t pid;
};

enum scls_result : int {
    SCLS_OK = 0,
    SCLS_FAILED = 1,   ///< the record says what failed
    SCLS_TOO_LONG = 2, ///< the name does not fit the buffer; names are never cut
    SCLS_NONE = 3,     ///< there is no such user or group
};

/// A context of the caller's own instead of the one of slot 2: `query_size` tells how large an area
/// it takes, and the sizes of identifiers; any of the sizes may be null. The area is aligned as
/// malloc does; it is not freed by `ctx_destroy`.
int scls_meta_query_size(slos*, unsigned flags, std::size_t* contextSize, std::size_t* userIdSize,
                         std::size_t* pidSize);
int scls_meta_ctx_init(scls_ctx* area, slos*, unsigned flags);
int scls_meta_ctx_destroy(scls_ctx* area, slos*, unsigned flags);

/// The calling process and its parent.
int scls_pid_get_self(scls_ctx*, slos*, unsigned flags, scls_pid* process);
int scls_pid_get_parent(scls_ctx*, slos*, unsigned flags, scls_pid* process);
/// The system's number of a process; 0 for null.
std::int64_t scls_pid_value(const scls_pid* process);

/// Identifiers on the heap. Failing `mk` operations leave *id null; null may be copied and freed.
scls_user_id* clsh_allocUserID();
scls_privgrp_id* clsh_allocPrivGrpID();
int clsh_mkUserID(const char* name, scls_user_id** id);
int clsh_mkPrivGrpID(const char* name, scls_privgrp_id** id);
scls_user_id* clsh_cpUserID(const scls_user_id* id);
scls_privgrp_id* clsh_cpPrivGrpID(const scls_privgrp_id* id);
void clsh_freeUserID(scls_user_id* id);
void clsh_freePrivGrpID(scls_privgrp_id* id);

/// The calling process: its effective user and primary group. SCLS_NONE when the group has no name.
int scls_idq_get_user_id(scls_ctx*, slos*, unsigned zero, scls_user_id* id);
int scls_idq_get_user_name(scls_ctx*, slos*, unsigned zero, char* buffer, std::size_t size,
                           std::size_t* length = nullptr);
int scls_idq_get_primary_privgrp_name(scls_ctx*, slos*, unsigned zero, char* buffer,
                                      std::size_t size, std::size_t* length = nullptr);

/// The machine's user and group database. `length` (may be null) receives the name's length.
int scls_iddb_get_user_name_by_id(scls_ctx*, slos*, unsigned zero, const scls_user_id*,
                                  char* buffer, std::size_t size, std::size_t* length);
int scls_iddb_get_privgrp_name_by_id(scls_ctx*, slos*, unsigned zero, const scls_privgrp_id*,
                                     char* buffer, std::size_t size, std::size_t* length);
int scls_iddb_get_privgrp_id_by_name(scls_ctx*, slos*, unsigned zero, const char* name,
                                     scls_privgrp_id* id);
/// *member is 1 when the user belongs to the group, as its primary or as a further one.
int scls_iddb_is_a_privgrp_member_by_id(scls_ctx*, slos*, unsigned zero, const scls_user_id*,
                                        const scls_privgrp_id*, int* member);
/// *privileged is 1 for the superuser and for members of node.conf's `admin_group`.
int scls_iddb_has_ha_privs(scls_ctx*, slos*, unsigned zero, const scls_user_id*, int* privileged);
/// 0 when both name the same user.
int scls_iddb_compare_user_id(const scls_user_id*, const scls_user_id*);
