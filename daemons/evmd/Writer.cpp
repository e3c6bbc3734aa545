#include "daemons/evmd/Writer.h"

#include "evm/libevm/exchange.h"

#include <new>
#include <utility>

namespace evmd {

Writer::Writer(EventFile& file, const Limits& limits) : m_limits(limits), m_file(file) {}

Writer::~Writer() {
    stop();
}

bool Writer::start() {
    m_batch.reserve(m_limits.queuedRecords);
    m_entries.reserve(m_limits.queuedRecords);
    return m_thread.start([this] { write(); });
}

void Writer::stop() {
    {
        const std::lock_guard lock(m_mutex);
        m_stopping = true;
        m_handed.notify_one();
    }
    m_thread.join();
}

bool Writer::store(EventPointer event) {
    Waiter waiter;
    std::unique_lock lock(m_mutex);
    hand(lock, std::move(event), &waiter);
    waiter.done.wait(lock, [&] { return waiter.isDone; });
    return waiter.stored;
}

void Writer::storeUnanswered(EventPointer event) {
    std::unique_lock lock(m_mutex);
    hand(lock, std::move(event), nullptr);
}

/// An event larger than all that may be queued has its place when it is alone.
bool Writer::hasPlace(std::size_t size) const {
    return m_queue.empty() || (m_queue.size() < m_limits.queuedRecords &&
                               m_queuedBytes + size <= m_limits.queuedBytes);
}

void Writer::hand(std::unique_lock<std::mutex>& lock, EventPointer event, Waiter* waiter) {
    const evm::Bytes record = evm::_evmEventPrepare(*event);
    m_taken.wait(lock, [&] { return hasPlace(record.size()); });
    m_queue.push_back(Entry{std::move(event), record, waiter});
    m_queuedBytes += record.size();
    m_handed.notify_one();
}

void Writer::write() {
    while (takeBatch()) {
        storeBatch();
        answerBatch();
    }
}

/// False when there is nothing left and the writer is to stop.
bool Writer::takeBatch() {
    m_batch.clear();
    std::unique_lock lock(m_mutex);
    m_handed.wait(lock, [this] { return m_stopping || !m_queue.empty(); });
    std::size_t size = 0;
    while (!m_queue.empty()) {
        const std::size_t next = m_queue.front().record.size();
        if (!m_batch.empty() && size + next > m_limits.batchBytes) break;
        m_batch.push_back(std::move(m_queue.front()));
        m_queue.pop_front();
        size += next;
    }
    m_queuedBytes -= size;
    m_taken.notify_all();
    return !m_batch.empty();
}

void Writer::storeBatch() {
    m_entries.clear();
    for (const Entry& entry : m_batch) m_entries.push_back(FileEntry{entry.record});
    try {
        m_file.append(m_entries);
    } catch (const std::bad_alloc&) {
        // What is not marked as stored is answered so.
    }
}

/// Under the lock: a waiter that has seen its result is gone.
void Writer::answerBatch() {
    const std::lock_guard lock(m_mutex);
    for (std::size_t i = 0; i < m_batch.size(); ++i) {
        Waiter* const waiter = m_batch[i].waiter;
        if (waiter == nullptr) continue;
        waiter->isDone = true;
        waiter->stored = m_entries[i].stored;
        waiter->done.notify_one();
    }
}

} // namespace evmd
