#pragma once

#include "daemons/vornd/Registry.h"
#include "daemons/vornd/Thread.h"
#include "daemons/vornd/Wakeup.h"

#include <atomic>
#include <chrono>
#include <map>
#include <memory>
#include <string>

namespace vornd {

/// Lets this process take the levels of its logging modules from the cluster registry, as the
/// resource daemon. Called once, before the first line is logged; the registry must be there.
void takeLevelsFromRegistry();

/// Follows levels that are changed in the registry while the daemon runs. What a module starts with
/// is not its business, and nothing is written.
class DebugLevels {
public:
    ~DebugLevels();
    /// Changes from now on count; false when no thread can be started.
    bool start();
    void stop();
    /// Looks afresh, at once.
    void refresh();

    /// Between two attempts to watch when the registry, or all of the way to the levels, is not
    /// there.
    static constexpr std::chrono::milliseconds RETRY_INTERVAL{2'000};

private:
    using Levels = std::map<std::string, int>;

    void follow();
    void wait();
    void tryToWatch();
    void watch();

    Wakeup m_wakeup;
    Thread m_thread;
    std::atomic<bool> m_stopping{false};
    std::unique_ptr<RegistryWatch> m_watch; ///< null while there is nothing to watch
    Levels m_levels;                        ///< as last seen
    bool m_seen = false;                    ///< whether they were seen at all
};

} // namespace vornd
