#pragma once

#include "cppgen/clsLog.h"

#include <sstream>

namespace TAV {

/// One line made of the pieces. Lines of `out` are built only when they would be written.
template <class... Pieces>
void logPieces(CLS_Debug::CLSlog& log, CLS_Debug::CLSlog::OutputType type,
               CLS_Debug::DebugDetail detail, const Pieces&... pieces) {
    if (type == CLS_Debug::CLSlog::TYPE_OUT && !log.writes(detail)) return;
    std::ostringstream text;
    (text << ... << pieces);
    if (type == CLS_Debug::CLSlog::TYPE_OUT)
        log.out(text, detail);
    else if (type == CLS_Debug::CLSlog::TYPE_ERROR)
        log.error(text, detail);
    else
        log.log(text, detail);
}

template <class... Pieces>
void logOut(CLS_Debug::CLSlog& log, const Pieces&... pieces) {
    logPieces(log, CLS_Debug::CLSlog::TYPE_OUT, CLS_Debug::DETAIL_DEFAULT, pieces...);
}
template <class... Pieces>
void logError(CLS_Debug::CLSlog& log, const Pieces&... pieces) {
    logPieces(log, CLS_Debug::CLSlog::TYPE_ERROR, CLS_Debug::DETAIL_DEFAULT, pieces...);
}
template <class... Pieces>
void logLine(CLS_Debug::CLSlog& log, const Pieces&... pieces) {
    logPieces(log, CLS_Debug::CLSlog::TYPE_LOG, CLS_Debug::DETAIL_DEFAULT, pieces...);
}

/// The log of cluster membership, "VORNQUORD".
CLS_Debug::CLSlog& clusterLog();
/// The log of locks, "VORNRTI".
CLS_Debug::CLSlog& lockLog();

} // namespace TAV
