#pragma once

#include "platform/local/registry_handles.h"

#include <new>
#include <optional>
#include <string_view>
#include <utility>

namespace platform::registry {

/// One call of the interface: finds what stands behind the handles, asks whether the context
/// allows it, and turns the outcome into a status and the thread's error text.
class Call {
public:
    enum class Access { read, change };

    /// `action` completes "cannot ... key K".
    Call(przks_ctx* handle, Access access, const char* action)
        : m_handle(handle), m_action(action), m_context(contexts().find(handle)), m_access(access) {
    }

    /// Runs `operation(context)`. `key` is what it is about; nothing: the whole registry.
    template <class Operation>
    int run(std::optional<std::string_view> key, Operation operation) {
        try {
            Outcome outcome = may_run();
            if (outcome) outcome = operation(*m_context);
            if (outcome.status() == PRZKS_NOTFOUND || outcome.status() == PRZKS_BUSY)
                outcome = check_store(std::move(outcome));
            return finish(key, outcome);
        } catch (const std::bad_alloc&) {
            return out_of_memory();
        }
    }
    /// Runs `operation(context, key, place)` on an open key.
    template <class Operation>
    int run_on(przks_key* handle, Operation operation) {
        const std::shared_ptr<Key> key = keys().find(handle);
        if (!key) return closed_key();
        const std::shared_ptr<const Place> place = key->place();
        return run(place->name, [&](Context& context) { return operation(context, *key, *place); });
    }

private:
    [[nodiscard]] Outcome may_run() const;
    /// `found`, unless there is no store any more in which anything could be found.
    [[nodiscard]] Outcome check_store(Outcome found) const;
    int finish(std::optional<std::string_view> key, const Outcome& outcome);
    int closed_key();
    int out_of_memory();

    przks_ctx* m_handle;
    const char* m_action;
    std::shared_ptr<Context> m_context;
    Access m_access;
};

} // namespace platform::registry
