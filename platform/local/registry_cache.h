#pragma once

#include "platform/local/registry_read.h"

#include <cstddef>
#include <memory>
#include <mutex>
#include <string>
#include <unordered_map>

namespace platform::registry {

/// A value in memory, and the state of its file when it was read.
struct CachedValue {
    std::string file; ///< path below the root key's folder
    struct stat status;
    przks_dtype type;
    std::string bytes;
};

/// Values that were read before, served while their files are unchanged: one look at the file's
/// status instead of opening and reading it. Thread-safe.
class ValueCache {
public:
    /// The value of the key at `path` if it is known and its file unchanged; else null.
    std::shared_ptr<const CachedValue> find(const Store& store, const std::string& path);
    void keep(const std::string& path, const ReadValue& value);

private:
    std::shared_ptr<const CachedValue> known(const std::string& path);

    std::mutex m_mutex;
    std::unordered_map<std::string, std::shared_ptr<const CachedValue>> m_values;
    std::size_t m_size = 0;
};

} // namespace platform::registry
