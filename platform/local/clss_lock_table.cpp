#include "platform/local/clss_lock_table.h"

#include "platform/include/threads.h"
#include "platform/local/folder_events.h"

#include <fcntl.h>
#include <pthread.h>
#include <sys/stat.h>

#include <atomic>
#include <cerrno>
#include <csignal>
#include <memory>

namespace platform {
namespace {

constexpr const char* LOCK_FILE = "locks";
constexpr mode_t LOCK_MODE = 0600; ///< others must not be able to hold a name
constexpr unsigned HELPER_STACK = 64 * 1024;
static_assert(sizeof(off_t) == sizeof(std::int64_t), "bytes of a file are numbered in 64 bits");

/// FNV-1a with a final mix, cut to offsets that every file system takes.
std::int64_t byte_of(std::string_view name) {
    std::uint64_t hash = 0xCBF29CE484222325;
    for (const char c : name) hash = (hash ^ static_cast<unsigned char>(c)) * 0x100000001B3;
    hash = (hash ^ hash >> 33) * 0xFF51AFD7ED558CCD;
    hash = (hash ^ hash >> 33) * 0xC4CEB9FE1A85EC53;
    return static_cast<std::int64_t>((hash ^ hash >> 33) >> 2);
}

/// Starts a detached thread that no signal of the process reaches.
bool start_quietly(void (*body)(void*), void* argument) {
    sigset_t all;
    sigset_t before;
    sigfillset(&all);
    pthread_sigmask(SIG_SETMASK, &all, &before);
    const int failed =
        ext_cls_thrSpawn(body, argument, nullptr, nullptr, HELPER_STACK, CLS_THR_DETACHED);
    pthread_sigmask(SIG_SETMASK, &before, nullptr);
    if (failed != 0) errno = failed;
    return failed == 0;
}

constinit std::atomic<LockTable*> s_table{nullptr};

/// The parent's locks stay the parent's, also when the child outlives it.
void begin_anew() {
    s_table.load()->abandon_after_fork();
    s_table = std::make_unique<LockTable>().release(); // its mutex may be waited for: left as it is
}

} // namespace

struct LockTable::Request {
    LockTable& table;
    int fd;
    std::int64_t byte;
};

LockTable& LockTable::get() {
    [[maybe_unused]] static const bool made = [] {
        s_table = std::make_unique<LockTable>().release();
        return pthread_atfork([] { s_table.load()->lock_for_fork(); },
                              [] { s_table.load()->unlock_after_fork(); }, begin_anew) == 0;
    }();
    return *s_table;
}

bool LockTable::is_replaced() const {
    struct stat status {};
    return stat(m_path.c_str(), &status) != 0 || status.st_dev != m_device ||
           status.st_ino != m_inode;
}

bool LockTable::is_gone() const {
    return is_service_down(m_folder) || (m_file && is_replaced());
}

int LockTable::open_file(const clsssctx& ctx) {
    m_folder = ctx.config->cluster_dir;
    m_path = m_folder + "/" + LOCK_FILE;
    struct stat status {};
    if (is_service_down(m_folder)) return CLSS_GONE;
    if (!make_cluster_dir(m_folder)) return CLSS_FAILED;
    Descriptor file(open(m_path.c_str(), O_RDWR | O_CREAT | O_CLOEXEC | O_NOFOLLOW, LOCK_MODE));
    if (!file || fstat(file.get(), &status) != 0) return CLSS_FAILED;
    m_device = status.st_dev;
    m_inode = status.st_ino;
    m_file = std::move(file);
    return CLSS_OK;
}

int LockTable::prepare(const clsssctx& ctx) {
    if (!m_file) return open_file(ctx);
    if (!is_gone()) return CLSS_OK;
    clss_trace(ctx, "the lock service of " + m_folder + " is gone");
    return CLSS_GONE;
}

void LockTable::renew() {
    const Guard guard(m_mutex);
    if (m_file && m_bytes.empty() && is_replaced()) m_file.reset();
}

int LockTable::try_lock(const clsssctx& ctx, std::string_view name) {
    const Guard guard(m_mutex);
    const std::int64_t byte = byte_of(name);
    if (const int status = prepare(ctx); status != CLSS_OK) return status;
    if (m_bytes.contains(byte)) return CLSS_BUSY;
    if (!lock_byte(m_file.get(), byte, ByteLock::write, false))
        return errno == EAGAIN || errno == EACCES ? CLSS_BUSY : CLSS_FAILED;
    m_bytes.emplace(byte, State::held);
    return CLSS_OK;
}

int LockTable::lock(const clsssctx& ctx, std::string_view name) {
    Guard guard(m_mutex);
    const std::int64_t byte = byte_of(name);
    if (const int status = prepare(ctx); status != CLSS_OK) return status;
    if (const int status = await_turn(guard, byte); status != CLSS_OK) return status;
    return ask_kernel(guard, ctx, byte);
}

/// Waits until no thread of this process has the byte.
int LockTable::await_turn(Guard& guard, std::int64_t byte) {
    if (!m_bytes.contains(byte)) return CLSS_OK;
    if (!start_watcher()) return CLSS_FAILED;
    const std::uint64_t ends = m_ends;
    m_changed.wait(guard, [&] { return m_ends != ends || !m_bytes.contains(byte); });
    return m_ends != ends ? CLSS_GONE : CLSS_OK;
}

int LockTable::ask_kernel(Guard& guard, const clsssctx& ctx, std::int64_t byte) {
    if (lock_byte(m_file.get(), byte, ByteLock::write, false)) {
        m_bytes.emplace(byte, State::held);
        return CLSS_OK;
    }
    if (errno != EAGAIN && errno != EACCES) return CLSS_FAILED;
    if (!start_watcher() || !start_helper(byte)) {
        clss_trace(ctx, "no thread to wait for a lock");
        return CLSS_FAILED;
    }
    return await_answer(guard, byte);
}

/// Waits for the helper's answer. Whoever gives up leaves the byte to the helper.
int LockTable::await_answer(Guard& guard, std::int64_t byte) {
    const std::uint64_t ends = m_ends;
    m_changed.wait(guard, [&] { return m_ends != ends || m_bytes.at(byte) != State::asked; });
    State& state = m_bytes.at(byte);
    if (state == State::granted) {
        state = State::held;
        return CLSS_OK;
    }
    if (state == State::asked) {
        state = State::abandoned;
        return CLSS_GONE;
    }
    m_bytes.erase(byte);
    m_changed.notify_all();
    return CLSS_FAILED;
}

bool LockTable::start_helper(std::int64_t byte) {
    auto request = std::make_unique<Request>(Request{*this, m_file.get(), byte});
    m_bytes.emplace(byte, State::asked);
    if (start_quietly(help, request.get())) {
        static_cast<void>(request.release());
        return true;
    }
    m_bytes.erase(byte);
    return false;
}

void LockTable::help(void* request) {
    const std::unique_ptr<Request> asked(static_cast<Request*>(request));
    const bool granted = lock_byte(asked->fd, asked->byte, ByteLock::write, true);
    asked->table.answer(asked->byte, granted);
}

void LockTable::answer(std::int64_t byte, bool granted) {
    const Guard guard(m_mutex);
    const auto entry = m_bytes.find(byte);
    if (entry->second == State::abandoned) {
        if (granted) unlock_byte(m_file.get(), byte);
        m_bytes.erase(entry);
    } else {
        entry->second = granted ? State::granted : State::failed;
    }
    m_changed.notify_all();
}

int LockTable::unlock(std::string_view name) {
    const Guard guard(m_mutex);
    const auto entry = m_bytes.find(byte_of(name));
    if (entry == m_bytes.end() || entry->second != State::held) return CLSS_NOT_HELD;
    if (!unlock_byte(m_file.get(), entry->first)) return CLSS_FAILED;
    m_bytes.erase(entry);
    m_changed.notify_all();
    return CLSS_OK;
}

bool LockTable::start_watcher() {
    if (!m_watching) m_watching = start_quietly(watch, this);
    return m_watching;
}

/// Lives from the first wait until the process ends.
void LockTable::watch(void* table) {
    LockTable& self = *static_cast<LockTable*>(table);
    self.m_mutex.lock();
    FolderEvents events(self.m_folder);
    self.m_mutex.unlock();
    while (true) {
        events.wait(-1, "");
        const Guard guard(self.m_mutex);
        if (!self.is_gone()) continue;
        ++self.m_ends;
        self.m_changed.notify_all();
    }
}

} // namespace platform
