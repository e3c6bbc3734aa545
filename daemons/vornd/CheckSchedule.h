#pragma once

#include "daemons/vornd/CheckSetting.h"
#include "daemons/vornd/ResourceModel.h"

#include <chrono>
#include <map>
#include <optional>
#include <set>
#include <string>
#include <utility>
#include <vector>

namespace vornd {

/// Which resource is to be checked when. Times are the caller's; used by one thread.
///
/// A resource keeps its rhythm: its checks are due at whole intervals after the first one, whatever
/// they take. A check that is still running when the next one is due makes that one fall out.
/// Resources that come together are spread over their intervals.
class CheckSchedule {
public:
    using Time = std::chrono::steady_clock::time_point;

    CheckSchedule(std::string node, std::string scriptFolder);

    /// The resources from now on.
    void take(const ResourceModel& model, Time now);
    /// When the next check is due; Time::max() when there is none.
    [[nodiscard]] Time next() const;
    /// A check that is due; it counts as running until finished().
    std::optional<CheckSetting> begin(Time now);
    void finished(const std::string& resource);
    [[nodiscard]] bool contains(const std::string& resource) const {
        return m_entries.contains(resource);
    }

private:
    struct Entry {
        ResourcePointer resource; ///< from which the setting was made
        CheckSetting setting;
        Time due;
        unsigned generation = 0; ///< of the model that it was last seen in
    };
    using Entries = std::map<std::string, Entry>;

    void update(Entry& entry, const ResourcePointer& resource, CheckSetting setting, Time now);
    void setDue(Entry& entry, Time due);
    void spread(const std::vector<Entry*>& entries, Time now);
    void dropUnseen();

    const std::string m_node;
    const std::string m_scriptFolder;
    Entries m_entries;
    std::set<std::pair<Time, std::string>> m_due;
    std::set<std::string> m_running;
    unsigned m_generation = 0;
};

} // namespace vornd
