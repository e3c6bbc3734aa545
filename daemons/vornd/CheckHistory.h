#pragma once

#include "daemons/vornd/CheckReport.h"

#include <chrono>
#include <cstdint>
#include <deque>
#include <optional>
#include <string>

namespace vornd {

/// What the registry says of a resource on this node, as far as checks have to do with it.
struct CheckValues {
    std::string state;
    std::int32_t failures = 0; ///< CURRENT_FAILURE of the node
    std::int32_t returns = 0;  ///< CURRENT_RCOUNT
    bool operator==(const CheckValues&) const = default;
};

/// What the checks of one resource on this node have shown so far: makes counts of reports.
///
/// Values that somebody else sets meanwhile are taken as they are and counted on. A failure is a
/// check that ended otherwise than by itself, and one that finds the resource not ONLINE any more.
/// The first ONLINE after failures is a return.
class CheckHistory {
public:
    using Time = std::chrono::steady_clock::time_point;

    /// The values that hold after a report, `known` being those that stand now. Failures older than
    /// the interval (0: none are) do not count; those that are found at first, or that somebody
    /// else has set, are as old as the report that finds them.
    CheckValues note(const CheckValues& known, const CheckReport& report,
                     std::chrono::seconds failureInterval, Time now);
    /// The values of the last note() stand in the registry. Until then they are owed.
    void written();

    /// Failures whose times are kept: so many say as much as any larger number.
    static constexpr std::int32_t MAX_TIMES = 10'000;

private:
    std::int32_t countFailures(const CheckValues& known, bool failed, std::chrono::seconds interval,
                               Time now);

    std::optional<CheckValues> m_owed; ///< the last note's values, not written yet
    bool m_isFirst = true;
    bool m_failed = false;                      ///< since it was last ONLINE
    std::int32_t m_newFailures = 0;             ///< not written yet
    std::int32_t m_newReturns = 0;              ///< likewise
    std::deque<Time> m_times;                   ///< of failures, where they have an end
    std::optional<std::int32_t> m_lastFailures; ///< the count that the times make, as written
};

} // namespace vornd
