#pragma once

#include "evm/libevm/heap.h"
#include "evm/libevm/record.h"

/// Outgoing messages of a connection that wait to be sent, in order.

struct _evmIoMsgQueueEntry_t {
    std::byte* msg; ///< the entry's own
    std::size_t length;
    std::size_t written; ///< bytes sent already
    _evmIoMsgQueueEntry_t* next;
};

struct _evmIoMsgQueue_t {
    _evmIoMsgQueueEntry_t* head;
    _evmIoMsgQueueEntry_t* tail;
    int count;
};

namespace evm {

/// Appends a copy of the message; false without memory.
bool _evmQueueAppend(_evmIoMsgQueue_t& queue, Bytes message);
/// Removes and frees the head entry; nothing when there is none.
void _evmQueueDrop(_evmIoMsgQueue_t& queue);
void _evmQueueClear(_evmIoMsgQueue_t& queue);

} // namespace evm
