#pragma once

#include "cppgen/clsLog.h"

#include <sstream>
#include <string>
#include <string_view>

namespace vornd {

/// The daemon's log, "VORND".
CLS_Debug::CLSlog& daemonLog();

/// Writes one line made of the pieces; a leading space is added.
template <class... Pieces>
void logLineTo(CLS_Debug::CLSlog& log, const Pieces&... pieces) {
    std::ostringstream text;
    ((text << ' ') << ... << pieces);
    log.log(text);
}
/// The same to the daemon's own log.
template <class... Pieces>
void logLine(const Pieces&... pieces) {
    logLineTo(daemonLog(), pieces...);
}

/// A text from outside as it may stand in a line: control characters become "?", and what is longer
/// than PRINTABLE_MAX bytes is cut.
[[nodiscard]] std::string printable(std::string_view text);
inline constexpr std::size_t PRINTABLE_MAX = 200;

/// The system's text for an error number.
[[nodiscard]] std::string systemError(int number);

} // namespace vornd
