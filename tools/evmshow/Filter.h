#pragma once

#include "evm/libevm/record.h"
#include "tools/evmshow/NamePattern.h"

#include <limits>
#include <vector>

namespace evmshow {

/// What an event must be like to be shown: everything that is set. An event that lacks the item
/// that is asked for is not shown.
struct Filter {
    std::vector<NamePattern> names;
    bool byTime = false;
    EvmTimestamp_t since = 0; ///< both bounds belong to what is wanted
    EvmTimestamp_t until = std::numeric_limits<EvmTimestamp_t>::max();
    bool byPriority = false;
    EvmPriority_t lowest = 0;
    EvmPriority_t highest = EvmPRIORITY_MAX;

    /// Reads the bytes of a sound record; allocates nothing.
    [[nodiscard]] bool accepts(evm::Bytes record) const;
};

} // namespace evmshow
