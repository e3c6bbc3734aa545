#include "daemons/vornd/ProfileSource.h"

#include "daemons/vornd/DaemonLog.h"

#include <utility>

namespace vornd {

ProfileSource::ProfileSource(std::string folder)
    : m_folder(std::move(folder), [](const std::string& line) { logLine(line); }) {
    refresh();
}

ModelPointer ProfileSource::snapshot() {
    if (isDue()) {
        const std::unique_lock scanning(m_scanning, std::try_to_lock);
        if (scanning.owns_lock() && isDue()) scan(ProfileFolder::Fresh::leave);
    }
    const std::lock_guard lock(m_mutex);
    return m_model;
}

void ProfileSource::refresh() {
    const std::lock_guard scanning(m_scanning);
    scan(ProfileFolder::Fresh::take);
}

bool ProfileSource::isDue() {
    const std::lock_guard lock(m_mutex);
    return Clock::now() >= m_nextCheck;
}

void ProfileSource::scan(ProfileFolder::Fresh fresh) {
    // Stays set when memory runs out on the way, so that the next scan makes up for it.
    const bool wasStale = std::exchange(m_stale, true);
    const bool changed = m_folder.scan(fresh);
    ModelPointer model;
    if (changed || wasStale) model = std::make_shared<const ResourceModel>(m_folder.resources());
    m_stale = false;
    const std::lock_guard lock(m_mutex);
    if (model != nullptr) m_model = std::move(model);
    m_nextCheck = Clock::now() + CHECK_INTERVAL;
}

} // namespace vornd
