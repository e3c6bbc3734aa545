#pragma once

#include "cppgen/clsLog.h"

#include <sstream>

namespace TAV {

/// The user interface's log, "VORNUI". Lives until the process ends.
CLS_Debug::CLSlog& uiLog();

/// Writes one line made of the pieces to the diagnostic log; lines begin with one space.
template <class... Pieces>
void uiDiagnostic(const Pieces&... pieces) {
    std::ostringstream text;
    (text << ... << pieces);
    uiLog().error(text);
}

} // namespace TAV
