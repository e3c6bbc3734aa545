#pragma once

#include "daemons/vornd/CheckReport.h"
#include "daemons/vornd/CheckSetting.h"
#include "daemons/vornd/Descriptor.h"

#include <sys/types.h>

#include <optional>
#include <string>
#include <vector>

namespace vornd {

/// Where checks run, and what they are told.
struct CheckEnvironment {
    std::string program; ///< that supervises them: this daemon's own
    std::string node;
    std::string scriptFolder;
    /// NAME=value; a script sees these, its resource's name and node, and nothing else.
    std::vector<std::string> variables;
};

/// A check under way: the supervisor process, seen from the daemon. Used by one thread, which also
/// must outlive it: the supervisor ends when the thread that started it does.
class CheckProcess {
public:
    /// Starts it. Without a process the first report says why.
    CheckProcess(const CheckEnvironment& environment, const CheckSetting& setting);
    /// As end() when it is not gone.
    ~CheckProcess();
    CheckProcess(const CheckProcess&) = delete;
    CheckProcess& operator=(const CheckProcess&) = delete;

    /// Polls readable when take() should be called; -1 when there is no process.
    [[nodiscard]] int descriptor() const { return m_output.get(); }
    /// Takes what the supervisor says; the report when it has come, once.
    std::optional<CheckReport> take();
    /// Whether the supervisor has ended, and with it all that the script had started.
    [[nodiscard]] bool isGone() const { return m_process <= 0; }
    /// Tells the supervisor to end all of it; no report follows.
    void end() const;
    /// Ends the supervisor itself, which does not do as it should.
    void kill() const;

private:
    int spawn(const CheckEnvironment& environment, const CheckSetting& setting, int output);
    void await();

    pid_t m_process = -1;
    Descriptor m_output;
    std::string m_text;
    std::optional<CheckReport> m_failure; ///< why there is no process
    bool m_reported = false;
};

} // namespace vornd
