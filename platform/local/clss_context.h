#pragma once

#include "platform/include/clss.h"

#include <string>

struct clsssctx {
    const node_config* config; ///< the process's, which outlives everything
    const skgcb* trace;        ///< null: nobody listens
    const int* tracing;
};

namespace platform {

/// Hands a line to the client's trace callback.
void clss_trace(const clsssctx& ctx, const std::string& text);

/// Makes the shared folder, when it is missing, for others to read. False with errno set.
bool make_cluster_dir(const std::string& path);

/// Whether an operator has announced the end of the service.
bool is_service_down(const std::string& cluster_dir);

/// Kernel locks on one byte of an open file; they belong to the open file, not to the process.
enum class ByteLock { read, write };
/// Takes it when `wait` is false or as soon as it is free; interrupted waits go on. False with
/// errno set.
bool lock_byte(int fd, std::int64_t offset, ByteLock kind, bool wait);
bool unlock_byte(int fd, std::int64_t offset);
/// Whether another open file has a lock that excludes one of this kind.
bool is_byte_locked(int fd, std::int64_t offset, ByteLock kind);

} // namespace platform
