#pragma once

#include "daemons/evmd/EventFile.h"
#include "daemons/evmd/Limits.h"
#include "daemons/vornd/Thread.h"
#include "evm/libevm/evm.h"

#include <condition_variable>
#include <deque>
#include <memory>
#include <mutex>
#include <vector>

namespace evmd {

struct EventRelease {
    void operator()(EvmEvent_t event) const { EvmEventDestroy(event); }
};
using EventPointer = std::unique_ptr<EvmEventHandle_s, EventRelease>;

/// Brings the events of all clients into the file: what has gathered while one batch became durable
/// is the next one, so that many posters share the cost of a write to the disk.
///
/// Thread-safe. Events of one thread are stored in the order in which they were handed over.
class Writer {
public:
    /// `file` outlives the writer.
    Writer(EventFile& file, const Limits& limits);
    ~Writer();
    Writer(const Writer&) = delete;
    Writer& operator=(const Writer&) = delete;

    /// False when no thread can be started.
    bool start();
    /// Waits until the event is durable; false when it could not be stored.
    bool store(EventPointer event);
    /// Waits only for a place in the queue.
    void storeUnanswered(EventPointer event);
    /// Stores what was handed over, then ends. Nobody hands over anything after it.
    void stop();

private:
    struct Waiter {
        std::condition_variable done;
        bool isDone = false;
        bool stored = false;
    };
    struct Entry {
        EventPointer event;
        evm::Bytes record;
        Waiter* waiter; ///< null when nobody waits
    };

    void hand(std::unique_lock<std::mutex>& lock, EventPointer event, Waiter* waiter);
    bool hasPlace(std::size_t size) const;
    void write();
    bool takeBatch();
    void storeBatch();
    void answerBatch();

    const Limits m_limits;
    EventFile& m_file; ///< used by the writer's thread only
    vornd::Thread m_thread;
    // Of the thread, with room for all that may be queued: it must not run out of memory.
    std::vector<Entry> m_batch;
    std::vector<FileEntry> m_entries;

    std::mutex m_mutex; ///< guards what follows
    std::condition_variable m_handed;
    std::condition_variable m_taken;
    std::deque<Entry> m_queue;
    std::size_t m_queuedBytes = 0;
    bool m_stopping = false;
};

} // namespace evmd
