#pragma once

#include "platform/include/immortal.h"
#include "platform/local/registry_cache.h"
#include "platform/local/registry_store.h"

#include <bit>
#include <cstdint>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

/// What stands behind the handles that callers hold. A handle is a number that is given once, so a
/// closed one is told and never another's; an object lives until the last call inside it ends.

namespace platform::registry {

enum class Level { fallback, cache, reboot };

struct Context {
    Level level = Level::cache;
    std::string url;
    Store store;
    ValueCache cache;
};

/// An open key: its name, and the list of its sub-keys once that was asked for.
class Key {
public:
    explicit Key(Place place) : m_place(std::make_shared<const Place>(std::move(place))) {}

    std::shared_ptr<const Place> place();
    void move_to(Place place);
    /// Calls `use` with the list, which `take` fills the first time.
    template <class Take, class Use>
    Outcome with_subkeys(Take take, Use use) {
        const std::lock_guard lock(m_list_mutex);
        if (!m_subkeys) {
            std::vector<std::string> names;
            if (Outcome outcome = take(names); !outcome) return outcome;
            m_subkeys = std::move(names);
        }
        return use(*m_subkeys);
    }

private:
    std::mutex m_mutex;
    std::shared_ptr<const Place> m_place;
    std::mutex m_list_mutex;
    std::optional<std::vector<std::string>> m_subkeys;
};

template <class Handle, class Object>
class HandleTable {
public:
    Handle* add(std::shared_ptr<Object> object) {
        const std::lock_guard lock(m_mutex);
        m_last += STEP;
        m_objects.emplace(m_last, std::move(object));
        return std::bit_cast<Handle*>(m_last);
    }
    std::shared_ptr<Object> find(Handle* handle) {
        const std::lock_guard lock(m_mutex);
        const auto found = m_objects.find(std::bit_cast<std::uintptr_t>(handle));
        return found == m_objects.end() ? nullptr : found->second;
    }
    /// The object, which is not in the table any more; null when it was not.
    std::shared_ptr<Object> take(Handle* handle) {
        const std::lock_guard lock(m_mutex);
        auto node = m_objects.extract(std::bit_cast<std::uintptr_t>(handle));
        return node.empty() ? nullptr : std::move(node.mapped());
    }

private:
    static constexpr std::uintptr_t STEP = 16; ///< handles look like aligned addresses

    std::mutex m_mutex;
    std::uintptr_t m_last = 0;
    std::unordered_map<std::uintptr_t, std::shared_ptr<Object>> m_objects;
};

HandleTable<przks_ctx, Context>& contexts();
HandleTable<przks_key, Key>& keys();

/// Keeps the calling thread's last failure on a context (null: on none).
void keep_error(const przks_ctx* context, std::string_view text);
/// Empty when there was none, or too many contexts failed since.
std::string_view kept_error(const przks_ctx* context);

/// Copies `text` into `size` bytes with its NUL, cut if need be. Null or 0 bytes: nothing.
void copy_text(std::string_view text, char* buffer, std::size_t size);

/// `key "a.b"` for error texts.
std::string quote_key(std::string_view name);

} // namespace platform::registry
