#pragma once

#include "cppgen/clsLog.h"

#include <sstream>

namespace TAV {

/// The communication module's log, "VORNCOMM". Lives until the process ends.
CLS_Debug::CLSlog& commLog();

/// Writes one line made of the pieces. `out` lines are built only when they would be written.
template <class... Pieces>
void commError(const Pieces&... pieces) {
    std::ostringstream text;
    (text << ... << pieces);
    commLog().error(text);
}
template <class... Pieces>
void commTrace(const Pieces&... pieces) {
    std::ostringstream text;
    (text << ... << pieces);
    commLog().log(text);
}
template <class... Pieces>
void commOut(const Pieces&... pieces) {
    if (!commLog().writes(CLS_Debug::DETAIL_DEFAULT)) return;
    std::ostringstream text;
    (text << ... << pieces);
    commLog().out(text);
}

} // namespace TAV
