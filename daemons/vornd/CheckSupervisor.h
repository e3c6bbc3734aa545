#pragma once

namespace vornd {

/// First argument of this program when it is to supervise one check.
inline constexpr char CHECK_SUPERVISOR[] = "--check-runner";
/// The only argument of a check's script.
inline constexpr char CHECK_ARGUMENT[] = "check";

/// Runs one check in a process of its own: the arguments after the first are the process id of the
/// daemon, the limit in seconds and the script. The script runs in a session of its own with the
/// standard streams on the null device and this process's environment; how it ended is written to
/// standard output (CheckReport).
///
/// All that the script has started ends with it, daemons of their own session too: they become this
/// process's children when their parents end, and it does not end before they have. So they do when
/// the daemon dies or tells this process (SIGTERM) to end. Returns the exit status.
int superviseCheck(int argc, char** argv);

} // namespace vornd
