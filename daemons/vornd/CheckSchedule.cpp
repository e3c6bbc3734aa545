#include "daemons/vornd/CheckSchedule.h"

#include <algorithm>

namespace vornd {

CheckSchedule::CheckSchedule(std::string node, std::string scriptFolder)
    : m_node(std::move(node)), m_scriptFolder(std::move(scriptFolder)) {}

void CheckSchedule::take(const ResourceModel& model, Time now) {
    ++m_generation;
    std::vector<Entry*> fresh;
    for (const ResourcePointer& resource : model.resources()) {
        const auto known = m_entries.find(resource->name());
        const bool isKnown = known != m_entries.end();
        if (isKnown && known->second.resource == resource) {
            known->second.generation = m_generation;
            continue;
        }
        std::optional<CheckSetting> setting = checkOf(*resource, m_node, m_scriptFolder);
        if (!setting) continue;
        if (isKnown) {
            update(known->second, resource, std::move(*setting), now);
            continue;
        }
        Entry entry{resource, std::move(*setting), Time::max(), m_generation};
        fresh.push_back(&m_entries.emplace(resource->name(), std::move(entry)).first->second);
    }
    dropUnseen();
    spread(fresh, now);
}

void CheckSchedule::update(Entry& entry, const ResourcePointer& resource, CheckSetting setting,
                           Time now) {
    entry.resource = resource;
    entry.generation = m_generation;
    entry.setting = std::move(setting);
    setDue(entry, std::min(entry.due, now + entry.setting.interval));
}

void CheckSchedule::dropUnseen() {
    for (auto next = m_entries.begin(); next != m_entries.end();) {
        const auto entry = next++;
        if (entry->second.generation == m_generation) continue;
        m_due.erase({entry->second.due, entry->first});
        m_entries.erase(entry);
    }
}

void CheckSchedule::setDue(Entry& entry, Time due) {
    m_due.erase({entry.due, entry.setting.resource});
    entry.due = due;
    m_due.emplace(due, entry.setting.resource);
}

void CheckSchedule::spread(const std::vector<Entry*>& entries, Time now) {
    using std::chrono::milliseconds;
    const auto count = static_cast<std::int64_t>(entries.size());
    for (std::int64_t i = 0; i < count; ++i) {
        Entry& entry = *entries[static_cast<std::size_t>(i)];
        setDue(entry, now + milliseconds(entry.setting.interval) / count * i);
    }
}

CheckSchedule::Time CheckSchedule::next() const {
    return m_due.empty() ? Time::max() : m_due.begin()->first;
}

std::optional<CheckSetting> CheckSchedule::begin(Time now) {
    while (next() <= now) {
        Entry& entry = m_entries.at(m_due.begin()->second);
        const auto missed = (now - entry.due) / entry.setting.interval;
        setDue(entry, entry.due + entry.setting.interval * (missed + 1));
        if (m_running.insert(entry.setting.resource).second) return entry.setting;
    }
    return std::nullopt;
}

void CheckSchedule::finished(const std::string& resource) {
    m_running.erase(resource);
}

} // namespace vornd
