#pragma once

/// The command's entry: ends the process with the run's status.
[[noreturn]] void tavcmd_main(int argc, char** argv);

namespace TAV {

/// The whole run of the status command, stage by stage. Its objects live on this routine's stack
/// and are never destroyed on a normal path, because every stage ends the process through exit().
[[noreturn]] void tav_stat_main(int argc, char** argv);

} // namespace TAV
