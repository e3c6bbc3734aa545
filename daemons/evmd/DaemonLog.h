#pragma once

#include "cppgen/clsLog.h"
#include "daemons/vornd/DaemonLog.h"

namespace evmd {

using vornd::printable;
using vornd::systemError;

/// The daemon's log, "EVMD".
CLS_Debug::CLSlog& daemonLog();

/// Writes one line made of the pieces; a leading space is added.
template <class... Pieces>
void logLine(const Pieces&... pieces) {
    vornd::logLineTo(daemonLog(), pieces...);
}

} // namespace evmd
