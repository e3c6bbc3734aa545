#pragma once

#include <string_view>

namespace TAV {

/// Printing on standard output that notices when nobody receives it.
///
/// A failure is told once for the process: one line on standard error and one in the diagnostic
/// log. Meant for the one thread that prints.

/// Writes the text as it stands, at once; false when standard output is closed, full or broken, or
/// has lost something that others wrote.
bool printStandardOutput(std::string_view text);

/// Whether everything that was written to standard output so far, by whomever, has left the
/// process.
bool standardOutputArrived();

} // namespace TAV
