#pragma once

#include "evm/libevm/event_handle.h"
#include "evm/libevm/evm.h"
#include "tests/support/test_node.h"

#include <cstddef>

/// The node that this test program runs as is "testnode", with a `message_time` of 1 second.

using RecordBytes = std::vector<std::byte>;

/// Owns an event for a test.
class Event {
public:
    Event() = default;
    explicit Event(EvmEvent_t event) : m_event(event) {}
    ~Event() {
        if (m_event != nullptr) EvmEventDestroy(m_event);
    }
    Event(const Event&) = delete;
    Event& operator=(const Event&) = delete;

    operator EvmEvent_t() const { return m_event; }
    EvmEvent_t* out() { return &m_event; }

private:
    EvmEvent_t m_event = nullptr;
};

/// An event of an item list, which the list's end is added to.
template <class... Items>
EvmEvent_t event_of(Items... items) {
    EvmEvent_t event = nullptr;
    EXPECT_EQ(EvmEventCreateVa(&event, items..., EvmITEM_NONE), EvmERROR_NONE);
    return event;
}
/// An event of a name alone.
inline EvmEvent_t make_event(const char* name) {
    return event_of(EvmITEM_NAME, name);
}
/// Bytes in hexadecimal, a blank before every eighth but the first.
std::string hex(evm::Bytes bytes);
RecordBytes from_hex(std::string_view text);
RecordBytes record_bytes(EvmEvent_t event);
/// The record behind its header.
std::string body_hex(EvmEvent_t event);

template <class T>
void put(RecordBytes& record, std::size_t offset, T value) {
    evm::store(std::span<std::byte>(record), offset, value);
}

/// Lets the first `granted` allocations of the library succeed and refuses the others, for a scope.
class AllocationLimit {
public:
    explicit AllocationLimit(int granted);
    ~AllocationLimit();
    AllocationLimit(const AllocationLimit&) = delete;
    AllocationLimit& operator=(const AllocationLimit&) = delete;
};
