#include "platform/local/registry_cache.h"

#include <climits>
#include <cstdint>
#include <ctime>

namespace platform::registry {
namespace {

/// What the values of one context may take; beyond it everything is forgotten and read anew.
constexpr std::size_t SIZE_MAX_TOTAL = std::size_t{16} * 1024 * 1024;
/// Counted for an entry beside its texts.
constexpr std::size_t ENTRY_COST = 256;
/// File times advance in steps: a file changed this recently may change again and look the same.
constexpr std::int64_t SETTLED_AFTER_NS = 100'000'000;

std::int64_t to_ns(const timespec& time) {
    return std::int64_t{time.tv_sec} * 1'000'000'000 + time.tv_nsec;
}

bool is_settled(const struct stat& status) {
    timespec now{};
    clock_gettime(CLOCK_REALTIME, &now);
    return to_ns(now) - to_ns(status.st_ctim) > SETTLED_AFTER_NS;
}

bool unchanged(const struct stat& before, const struct stat& now) {
    return same_inode(before, now) && before.st_size == now.st_size &&
           to_ns(before.st_ctim) == to_ns(now.st_ctim);
}

std::size_t cost_of(const std::string& path, const CachedValue& value) {
    return ENTRY_COST + path.size() + value.file.size() + value.bytes.size();
}

} // namespace

std::shared_ptr<const CachedValue> ValueCache::known(const std::string& path) {
    const std::lock_guard lock(m_mutex);
    const auto found = m_values.find(path);
    return found == m_values.end() ? nullptr : found->second;
}

std::shared_ptr<const CachedValue> ValueCache::find(const Store& store, const std::string& path) {
    std::shared_ptr<const CachedValue> value = known(path);
    struct stat now {};
    if (!value || !status_of_entry(store.keys.get(), value->file, now)) return nullptr;
    return unchanged(value->status, now) ? value : nullptr;
}

void ValueCache::keep(const std::string& path, const ReadValue& value) {
    if (value.path.empty() || value.path.size() >= PATH_MAX || !is_settled(value.status)) return;
    const std::string_view bytes(reinterpret_cast<const char*>(value.value.bytes.data()),
                                 value.value.bytes.size());
    auto entry = std::make_shared<const CachedValue>(
        CachedValue{value.path, value.status, value.value.type, std::string(bytes)});
    const std::size_t cost = cost_of(path, *entry);
    const std::lock_guard lock(m_mutex);
    if (m_size + cost > SIZE_MAX_TOTAL) {
        m_values.clear();
        m_size = 0;
    }
    std::shared_ptr<const CachedValue>& place = m_values[path];
    if (place) m_size -= cost_of(path, *place);
    m_size += cost;
    place = std::move(entry);
}

} // namespace platform::registry
