#include "evm/libevm/live_handles.h"

#include "evm/libevm/heap.h"

#include <array>
#include <cstddef>
#include <cstdint>
#include <mutex>

namespace evm {

namespace {

constexpr unsigned SHARD_BITS = 4;
constexpr std::size_t FIRST_CAPACITY = 64;

std::uint64_t hashOf(const void* handle) {
    static constexpr std::uint64_t SPREAD = 0x9E3779B97F4A7C15; // 2^64 / golden ratio
    std::uint64_t address = 0;
    static_assert(sizeof address == sizeof handle);
    std::memcpy(&address, &handle, sizeof address);
    return address * SPREAD;
}

/// One part of the set: open addressing with linear probing, its capacity a power of two. Never
/// destroyed; an empty slot is null.
class Shard {
public:
    bool add(const void* handle, std::uint64_t hash) noexcept {
        const std::scoped_lock lock(m_mutex);
        if ((m_count + 1) * 2 > m_capacity && !grow()) return false;
        m_slots[slotFor(handle, hash)] = handle;
        ++m_count;
        return true;
    }

    bool contains(const void* handle, std::uint64_t hash) noexcept {
        const std::scoped_lock lock(m_mutex);
        return m_capacity != 0 && m_slots[slotFor(handle, hash)] != nullptr;
    }

    bool remove(const void* handle, std::uint64_t hash) noexcept {
        const std::scoped_lock lock(m_mutex);
        if (m_capacity == 0) return false;
        const std::size_t slot = slotFor(handle, hash);
        if (m_slots[slot] == nullptr) return false;
        close(slot);
        --m_count;
        return true;
    }

private:
    [[nodiscard]] std::size_t home(std::uint64_t hash) const {
        // The lowest bits of the product are the address's, all zero; the highest choose the shard.
        return (hash >> 24) & (m_capacity - 1);
    }

    /// Where the handle is, or the empty slot where it belongs.
    [[nodiscard]] std::size_t slotFor(const void* handle, std::uint64_t hash) const {
        std::size_t slot = home(hash);
        while (m_slots[slot] != nullptr && m_slots[slot] != handle)
            slot = (slot + 1) & (m_capacity - 1);
        return slot;
    }

    /// Empties a slot and moves up those behind it that would no longer be found.
    void close(std::size_t hole) noexcept {
        const std::size_t mask = m_capacity - 1;
        for (std::size_t at = (hole + 1) & mask; m_slots[at] != nullptr; at = (at + 1) & mask) {
            const std::size_t wanted = home(hashOf(m_slots[at]));
            if (((at - wanted) & mask) < ((at - hole) & mask)) continue;
            m_slots[hole] = m_slots[at];
            hole = at;
        }
        m_slots[hole] = nullptr;
    }

    bool grow() noexcept {
        const std::size_t capacity = m_capacity == 0 ? FIRST_CAPACITY : m_capacity * 2;
        HeapPtr<const void*> slots = heapArray<const void*>(capacity);
        if (slots == nullptr) return false;
        const HeapPtr<const void*> old(m_slots);
        const std::size_t oldCapacity = m_capacity;
        m_slots = slots.release();
        m_capacity = capacity;
        for (std::size_t slot = 0; slot < oldCapacity; ++slot) {
            const void* const handle = old.get()[slot];
            if (handle != nullptr) m_slots[slotFor(handle, hashOf(handle))] = handle;
        }
        return true;
    }

    std::mutex m_mutex;
    const void** m_slots = nullptr;
    std::size_t m_capacity = 0;
    std::size_t m_count = 0;
};

constinit std::array<Shard, 1U << SHARD_BITS> shards{};

Shard& shardOf(std::uint64_t hash) {
    return shards[hash >> (64 - SHARD_BITS)];
}

} // namespace

bool addLive(const void* handle) noexcept {
    const std::uint64_t hash = hashOf(handle);
    return shardOf(hash).add(handle, hash);
}

bool isInLiveSet(const void* handle) noexcept {
    const std::uint64_t hash = hashOf(handle);
    return shardOf(hash).contains(handle, hash);
}

bool removeLive(const void* handle) noexcept {
    const std::uint64_t hash = hashOf(handle);
    return shardOf(hash).remove(handle, hash);
}

} // namespace evm
