#pragma once

#include "platform/local/clss_context.h"
#include "platform/local/descriptor.h"

#include <sys/types.h>

#include <condition_variable>
#include <cstdint>
#include <map>
#include <mutex>
#include <string>
#include <string_view>

namespace platform {

/// The locks of this process.
///
/// All locks of the cluster are single bytes of one file, "locks" in the shared folder: a lock's
/// name chooses the byte, which need not exist. So there is nothing to open, to count or to clean
/// up for a name. Two names can fall on the same byte, with a chance of one in 2^62: such locks
/// exclude each other without need, and never grant less than was asked for.
///
/// A kernel lock belongs to the open file, which all threads share; among them this table decides.
/// Only one thread waits in the kernel for a byte, a helper, so that the end of the service reaches
/// those who wait for it.
class LockTable {
public:
    /// The process's table. A forked child begins with one of its own and holds nothing.
    static LockTable& get();

    int lock(const clsssctx& ctx, std::string_view name);
    int try_lock(const clsssctx& ctx, std::string_view name);
    int unlock(std::string_view name);
    /// Lets a client that starts anew use a folder that replaced the former one.
    void renew();

    void lock_for_fork() { m_mutex.lock(); }
    void unlock_after_fork() { m_mutex.unlock(); }
    void abandon_after_fork() { m_file.reset(); }

private:
    enum class State { asked, granted, held, abandoned, failed };
    using Guard = std::unique_lock<std::mutex>;
    struct Request;

    int prepare(const clsssctx& ctx);
    int open_file(const clsssctx& ctx);
    bool is_replaced() const;
    bool is_gone() const;
    int await_turn(Guard& guard, std::int64_t byte);
    int ask_kernel(Guard& guard, const clsssctx& ctx, std::int64_t byte);
    int await_answer(Guard& guard, std::int64_t byte);
    bool start_helper(std::int64_t byte);
    bool start_watcher();
    static void help(void* request);
    static void watch(void* table);
    void answer(std::int64_t byte, bool granted);

    std::mutex m_mutex;
    std::condition_variable m_changed;
    std::map<std::int64_t, State> m_bytes; ///< those with a holder or a helper
    std::string m_folder;
    std::string m_path;
    Descriptor m_file; ///< stays open while m_bytes has an entry
    dev_t m_device = 0;
    ino_t m_inode = 0;
    std::uint64_t m_ends = 0; ///< how often the end of the service was noticed
    bool m_watching = false;
};

} // namespace platform
