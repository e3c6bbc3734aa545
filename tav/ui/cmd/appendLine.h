#pragma once

#include "tav/msg/TavLogger.h"

namespace TAV {

/// Appends one line made of the pieces to the logger's text, without a copy of its own.
template <class... Pieces>
void appendLine(TavLogger& logger, const Pieces&... pieces) {
    (logger.append(pieces), ...);
    logger.append();
}

} // namespace TAV
