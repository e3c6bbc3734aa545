#include "evm/libevm/posted_events.h"

#include "evm/libevm/event_handle.h"

#include <new>

namespace evm {

std::uint64_t PostedEvents::remember(EvmEvent_t event) noexcept {
    try {
        const auto [entry, added] = m_events.try_emplace(event->identity, Posted{event, 0});
        ++entry->second.answersDue;
    } catch (const std::bad_alloc&) {
        return 0;
    }
    // Cookies ascend with the age of the events.
    if (m_events.size() > LIMIT) m_events.erase(m_events.begin());
    return event->identity;
}

void PostedEvents::forget(std::uint64_t cookie) noexcept {
    const auto found = m_events.find(cookie);
    if (found != m_events.end() && --found->second.answersDue == 0) m_events.erase(found);
}

EvmEvent_t PostedEvents::answered(std::uint64_t cookie) noexcept {
    const auto found = m_events.find(cookie);
    if (found == m_events.end()) return nullptr;
    const EvmEvent_t event = found->second.event;
    forget(cookie);
    // Another event may live where a destroyed one was.
    return isLive(event) && event->identity == cookie ? event : nullptr;
}

} // namespace evm
