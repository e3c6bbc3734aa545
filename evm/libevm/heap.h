#pragma once

#include <atomic>
#include <cstddef>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <string_view>

/// The library's memory. All of it comes from malloc's family, as C callers release what they are
/// given with free(), and nothing here throws: null means that there is none.

namespace evm {

/// Asked before every allocation when it is set; false refuses it. For tests of running out of
/// memory.
inline constinit std::atomic<bool (*)(std::size_t)> allocationGate{nullptr};

inline bool allocationRefused(std::size_t size) noexcept {
    bool (*const gate)(std::size_t) = allocationGate.load(std::memory_order_relaxed);
    return gate != nullptr && !gate(size);
}

/// Zero-filled memory.
inline void* heapAllocate(std::size_t size) noexcept {
    return allocationRefused(size) ? nullptr : std::calloc(1, size);
}

/// Grows or shrinks a block; on failure it is as it was. Growth is not filled.
inline void* heapResize(void* block, std::size_t size) noexcept {
    return allocationRefused(size) ? nullptr : std::realloc(block, size);
}

struct HeapRelease {
    void operator()(const void* block) const noexcept { std::free(const_cast<void*>(block)); }
};
template <class T>
using HeapPtr = std::unique_ptr<T, HeapRelease>;

/// Zero-filled memory for `count` objects of a type that needs no constructor.
template <class T>
HeapPtr<T> heapArray(std::size_t count) noexcept {
    return HeapPtr<T>(static_cast<T*>(heapAllocate(count * sizeof(T))));
}

/// A terminated copy.
inline HeapPtr<char> heapString(std::string_view text) noexcept {
    HeapPtr<char> copy = heapArray<char>(text.size() + 1);
    if (copy != nullptr && !text.empty()) std::memcpy(copy.get(), text.data(), text.size());
    return copy;
}

} // namespace evm
