#include "daemons/vornd/CheckHistory.h"

#include "tav/ui/cmd/tavNames.h"

#include <algorithm>
#include <limits>

namespace vornd {

namespace {

std::int32_t sum(std::int32_t a, std::int32_t b) {
    constexpr std::int64_t most = std::numeric_limits<std::int32_t>::max();
    return static_cast<std::int32_t>(std::clamp<std::int64_t>(std::int64_t{a} + b, 0, most));
}

} // namespace

CheckValues CheckHistory::note(const CheckValues& known, const CheckReport& report,
                               std::chrono::seconds failureInterval, Time now) {
    const std::string state = report.state();
    const std::string& before = m_owed ? m_owed->state : known.state;
    if (m_isFirst) m_failed = known.failures > 0 && before != TAV_RUNNING;
    m_isFirst = false;
    const bool isOnline = state == TAV_RUNNING;
    const bool failed = report.isFailure() || (before == TAV_RUNNING && !isOnline);
    m_failed = m_failed || failed;
    if (isOnline && m_failed) {
        m_failed = false;
        ++m_newReturns;
    }
    m_owed = CheckValues{state, countFailures(known, failed, failureInterval, now),
                         sum(known.returns, m_newReturns)};
    return *m_owed;
}

std::int32_t CheckHistory::countFailures(const CheckValues& known, bool failed,
                                         std::chrono::seconds interval, Time now) {
    if (interval.count() == 0) {
        m_times.clear();
        m_lastFailures.reset();
        m_newFailures = sum(m_newFailures, failed ? 1 : 0);
        return sum(known.failures, m_newFailures);
    }
    if (m_lastFailures != known.failures) {
        const std::int32_t found = std::clamp(sum(known.failures, m_newFailures), 0, MAX_TIMES);
        m_times.assign(static_cast<std::size_t>(found), now);
        m_lastFailures = known.failures;
        m_newFailures = 0;
    }
    if (failed) m_times.push_back(now);
    while (!m_times.empty() && (now - m_times.front() > interval || m_times.size() > MAX_TIMES))
        m_times.pop_front();
    return static_cast<std::int32_t>(m_times.size());
}

void CheckHistory::written() {
    if (!m_owed) return;
    if (m_lastFailures) m_lastFailures = m_owed->failures;
    m_newFailures = m_newReturns = 0;
    m_owed.reset();
}

} // namespace vornd
