#include "tools/evmshow/Filter.h"

#include "tools/evmshow/RecordView.h"

#include <algorithm>

namespace evmshow {

namespace {

template <class Number>
bool within(bool present, Number value, Number least, Number most) {
    return present && value >= least && value <= most;
}

} // namespace

bool Filter::accepts(evm::Bytes record) const {
    using evm::itemPresent;
    if (byTime && !within(itemPresent(record, EvmITEM_TIMESTAMP), timeOf(record), since, until))
        return false;
    if (byPriority &&
        !within(itemPresent(record, EvmITEM_PRIORITY), priorityOf(record), lowest, highest))
        return false;
    if (names.empty()) return true;
    const std::string_view name = nameOf(record);
    return std::ranges::all_of(names, [name](const auto& wanted) { return wanted.matches(name); });
}

} // namespace evmshow
