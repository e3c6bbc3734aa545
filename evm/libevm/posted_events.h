#pragma once

#include "evm/libevm/evm.h"

#include <cstddef>
#include <cstdint>
#include <map>

namespace evm {

/// The events whose posts the daemon has not answered yet, by the cookie that it sends back. A
/// cookie is a number of this process, so whatever the daemon sends names one of these or none.
class PostedEvents {
public:
    /// Events that are remembered; of more the oldest are forgotten, and answered without event.
    static constexpr std::size_t LIMIT = 65536;

    /// The event's cookie, remembered for one answer; 0 without memory.
    std::uint64_t remember(EvmEvent_t event) noexcept;
    void forget(std::uint64_t cookie) noexcept;
    /// The live event that an answer names, which is counted off; null for none.
    EvmEvent_t answered(std::uint64_t cookie) noexcept;

private:
    struct Posted {
        EvmEvent_t event;
        std::size_t answersDue;
    };
    std::map<std::uint64_t, Posted> m_events;
};

} // namespace evm
