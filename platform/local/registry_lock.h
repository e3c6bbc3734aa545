#pragma once

#include "platform/local/registry_outcome.h"

#include <utility>

namespace platform::registry {

/// The lock of one folder of the store, held for a few system calls by those who change its
/// entries; who only reads needs none. Shared: adding an entry, or replacing a value. Exclusive:
/// removing an entry, moving it away or turning it into another form, changing the folder's own
/// security. The kernel gives a killed holder's lock back.
class FolderLock {
public:
    enum class Kind { shared, exclusive };

    FolderLock() = default;
    FolderLock(FolderLock&& other) noexcept : m_folder(std::exchange(other.m_folder, -1)) {}
    FolderLock& operator=(FolderLock&& other) noexcept {
        std::swap(m_folder, other.m_folder);
        return *this;
    }
    ~FolderLock() { release(); }

    /// Waits up to PRZKS_LOCK_WAIT_MS. The descriptor (opened to read) must outlive the lock.
    static Outcome take(FolderLock& lock, int folder, Kind kind);
    /// Both or none, in whatever order others take them. The folders must be different ones.
    static Outcome take_two(FolderLock& first, int first_folder, Kind first_kind,
                            FolderLock& second, int second_folder, Kind second_kind);
    void release();

private:
    bool try_take(int folder, Kind kind);

    int m_folder = -1;
};

} // namespace platform::registry
