#pragma once

#include "platform/include/node_config.h"

#include <array>
#include <cstddef>
#include <cstdint>
#include <string>

/// The client of the cluster synchronization service: what the nodes of a cluster are called, which
/// of them are up, and locks that are exclusive across the cluster.
///
/// What is configured comes from node.conf. What changes stands in `cluster_dir`, the folder that
/// all nodes share, as locks that the kernel holds for a process and withdraws when it dies: no
/// time stamp and no process number is ever believed. Every operation is thread-safe unless it says
/// otherwise, and returns 0 or one of the statuses below.

enum clss_status : int {
    CLSS_OK = 0,
    CLSS_BUSY = 1,     ///< somebody else has it
    CLSS_INVALID = 2,  ///< an argument that is none
    CLSS_CLOSING = 3,  ///< 3, 8 and 22 tell that the service is going away
    CLSS_FAILED = 4,   ///< the system refused; errno tells why
    CLSS_UNKNOWN = 5,  ///< no such node or group
    CLSS_NOT_HELD = 6, ///< a lock that this process does not hold
    CLSS_CLOSED = 8,
    CLSS_TOO_SHORT = 13, ///< the buffer; the length that is needed was stored
    CLSS_NOT_READY = 21, ///< the node's configuration cannot be used
    CLSS_GONE = 22,      ///< the file DOWN stands in the shared folder, or the folder was removed
};

/// Name of the file in `cluster_dir` whose appearance ends the service.
inline constexpr const char* CLSS_DOWN_FILE = "DOWN";

/// One process's view of the service. Lives until clsssterm.
struct clsssctx;

/// Trace callback: `callback` begins with the trace switch of the parameter block.
struct skgcbctx {
    int tracing;
};
struct skgcb {
    int (*function)(skgcbctx* callback, const char* format, ...)
        __attribute__((format(printf, 2, 3)));
};

struct lslmc;

/// What a client starts the service with. Trace record and switch must outlive the context; the
/// other members are for implementations that need them.
struct clsss_parameters {
    lpmctx* memory;
    void* (*allocate)(lslmc*, unsigned long size);
    void (*release)(lslmc*, void* block);
    unsigned reserved1;
    unsigned reserved2;
    unsigned kind; ///< CLSSS_CLIENT_KIND
    skgcb* trace;
    int* tracing;
};
inline constexpr unsigned CLSSS_CLIENT_KIND = 208;
/// Last argument of clsssinit: with locks, or to be informed only.
inline constexpr unsigned CLSSS_MODE_LOCKS = 519;
inline constexpr unsigned CLSSS_MODE_INFORMATION = 6;
/// Smallest size of clsssinit's error buffer.
inline constexpr std::size_t CLSSS_ERROR_SIZE = 512;

/// Starts the service for a client. On failure *ctx is null and the error buffer (null is allowed)
/// holds the reason: CLSS_NOT_READY, or CLSS_GONE for a client that wants locks. `version` and
/// `parameters` may be null.
int clsssinit(char* errorBuffer, clsssctx** ctx, const std::uint16_t* version,
              const clsss_parameters* parameters, unsigned mode);
/// Ends it; null is accepted. Locks stay held.
int clsssterm(clsssctx* ctx);

enum clsss_attribute : unsigned {
    CLSSS_NODE_NAME_SIZE = 1, ///< longest node name with its NUL
    CLSSS_NODE_SLOTS = 3,     ///< node numbers are below it
    CLSSS_GROUP_MEMBERS = 9,  ///< most members that a group can have
};
int clsssattrib(clsssctx* ctx, unsigned attribute, std::uint32_t* value);
/// Seconds in which the cluster notices a lost node. A null context gives node.conf's, too.
unsigned clsssrecoverytime(const clsssctx* ctx);

using clss_node = std::int32_t;

/// A set of node numbers.
struct clss_bits {
    std::array<std::uint64_t, NODE_CONF_MAX_NODES / 64> words;

    [[nodiscard]] bool test(clss_node node) const {
        return node >= 0 && node < NODE_CONF_MAX_NODES &&
               (words[static_cast<std::size_t>(node) / 64] >> (node % 64) & 1) != 0;
    }
    void set(clss_node node) {
        words[static_cast<std::size_t>(node) / 64] |= std::uint64_t{1} << (node % 64);
    }
    bool operator==(const clss_bits&) const = default;
};

/// This node's number; the configured nodes; the cluster's name; a node's number by name (its first
/// label, whatever the case) and its name by number. Lengths count the NUL; they are the buffer's
/// size before and the text's length after the call, also when it answers CLSS_TOO_SHORT.
int clssnsqlnum(clsssctx* ctx, clss_node* number);
int clssnsNodeList(clsssctx* ctx, clss_bits* configured, clss_node* count);
int clssnsqclname(clsssctx* ctx, char* buffer, std::uint32_t* length);
int clssnsqanum(clsssctx* ctx, const char* name, clss_node* number);
int clssnsqname(clsssctx* ctx, clss_node number, char* buffer, std::uint32_t* length);

/// The one group there is: the nodes that are up, named after the cluster.
inline constexpr const char* CLSS_NODE_GROUP_SUFFIX = "_NG";
struct clssgsmap {
    clss_bits grpbits_clssgsmap;
};
struct clssgs_incarnation {
    std::uint64_t incarnation; ///< the same only while the same daemons are the members
    std::uint32_t members;
};
/// `incarnation` may be null.
int clssgsqgrp(clsssctx* ctx, const char* group, clssgsmap* members,
               clssgs_incarnation* incarnation);

/// Makes this node a member for as long as the process lives or until the release. CLSS_BUSY when
/// another process has the number; `why` (null is allowed) receives the reason of a failure.
struct clss_member;
int clss_member_hold(clsssctx* ctx, clss_member** held, std::string* why);
void clss_member_release(clss_member* held);

/// Waits for changes of the membership, which the kernel reports. One thread uses a watch at a
/// time; the context must outlive it.
struct clss_watch;
int clss_watch_open(clsssctx* ctx, clss_watch** watch);
/// Returns CLSS_OK and the members once they differ from those that this watch told last (at first:
/// at once), or CLSS_BUSY when `timeout_ms` is over (below 0: never).
int clss_watch_wait(clss_watch* watch, clssgsmap* members, int timeout_ms);
void clss_watch_close(clss_watch* watch);

/// Locks by name: exclusive among all processes of the cluster and among the threads of each. The
/// kernel takes them back from a process that dies. Whoever asks for a lock that its own process
/// holds waits like anybody else; any thread may release it. Names are any bytes but NUL. Locks are
/// for processes of one user: the owner of `cluster_dir`.
inline constexpr std::size_t CLSSLS_NAME_MAX = 10000;

/// Room that other implementations of the service need for a lock in the course of a call.
struct clssls_handle {
    std::array<std::uint64_t, 4> opaque;
};

/// Waits, without limit, until the lock is granted or the service goes away (CLSS_GONE).
int clsslsmutexlock(clssls_handle* handle, clsssctx* ctx, const unsigned char* name);
/// CLSS_BUSY when the lock is held. `mode` is CLSSLS_TRY.
int clsslstrylock(clssls_handle* handle, clsssctx* ctx, const unsigned char* name, unsigned mode);
inline constexpr unsigned CLSSLS_TRY = 2;
int clsslsunlock(clsssctx* ctx, const unsigned char* name);
