#include "evm/libevm/message_queue.h"

namespace evm {

bool _evmQueueAppend(_evmIoMsgQueue_t& queue, Bytes message) {
    HeapPtr<_evmIoMsgQueueEntry_t> entry = heapArray<_evmIoMsgQueueEntry_t>(1);
    HeapPtr<std::byte> copy = heapArray<std::byte>(message.size());
    if (entry == nullptr || copy == nullptr) return false;
    if (!message.empty()) std::memcpy(copy.get(), message.data(), message.size());
    entry->msg = copy.release();
    entry->length = message.size();
    (queue.head == nullptr ? queue.head : queue.tail->next) = entry.get();
    queue.tail = entry.release();
    ++queue.count;
    return true;
}

void _evmQueueDrop(_evmIoMsgQueue_t& queue) {
    const HeapPtr<_evmIoMsgQueueEntry_t> entry(queue.head);
    if (entry == nullptr) return;
    const HeapPtr<std::byte> message(entry->msg);
    queue.head = entry->next;
    if (queue.head == nullptr) queue.tail = nullptr;
    --queue.count;
}

void _evmQueueClear(_evmIoMsgQueue_t& queue) {
    while (queue.head != nullptr) _evmQueueDrop(queue);
}

} // namespace evm
