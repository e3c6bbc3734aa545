#pragma once

#include "daemons/vornd/CheckHistory.h"
#include "daemons/vornd/CheckProcess.h"
#include "daemons/vornd/CheckSchedule.h"
#include "daemons/vornd/Registry.h"
#include "daemons/vornd/Thread.h"
#include "daemons/vornd/Wakeup.h"

#include <atomic>
#include <chrono>
#include <list>
#include <map>
#include <mutex>
#include <string>

namespace vornd {

/// Checks this node's resources in their intervals and keeps what they show in the registry. One
/// thread of its own does all of it.
class Checks {
public:
    explicit Checks(CheckEnvironment environment);
    ~Checks();
    Checks(const Checks&) = delete;
    Checks& operator=(const Checks&) = delete;

    /// False when no thread can be started.
    bool start();
    /// Ends the checks under way, with all that they have started, and starts none any more.
    void stop();
    /// The resources from now on. Thread-safe.
    void take(const ModelPointer& model);

    /// Scripts that run at one time: enough that some that hang do not hold up the others, few
    /// enough that a machine bears it.
    static constexpr std::size_t MAX_RUNNING = 64;
    /// For a supervisor, beyond its script's limit, to end everything and report.
    static constexpr std::chrono::seconds SUPERVISOR_TIME{10};
    /// For all supervisors to end everything when the daemon stops.
    static constexpr std::chrono::seconds STOP_TIME{3};

private:
    using Clock = std::chrono::steady_clock;

    struct Running {
        Running(const CheckEnvironment& environment, CheckSetting wanted);
        CheckSetting setting;
        CheckProcess process;
        Clock::time_point end; ///< by when the supervisor must have reported
        bool reported = false;
    };
    struct Known {
        CheckHistory history;
        std::string trouble; ///< as logged; empty when there is none
    };

    void run();
    void takeModel();
    void beginDue();
    void wait();
    void takeReports();
    void watchOver(Running& check);
    void conclude(const CheckSetting& setting, const CheckReport& report);
    void record(const CheckSetting& setting, const CheckReport& report, Known& known);
    void complain(Known& known, const CheckSetting& setting, const std::string& trouble);
    void endAll();
    [[nodiscard]] Clock::time_point nextTime() const;
    [[nodiscard]] std::size_t unreported() const;

    const CheckEnvironment m_environment;
    Wakeup m_wakeup;
    Thread m_thread;
    std::atomic<bool> m_stopping{false};

    // The thread's own.
    CheckSchedule m_schedule;
    std::list<Running> m_running;
    std::map<std::string, Known> m_known;

    std::mutex m_mutex; ///< guards what follows
    ModelPointer m_model;
};

} // namespace vornd
