#include "tav/msg/TavLoggerDiagnostics.h"

#include <memory>

namespace TAV {

CLS_Debug::CLSlog& uiLog() {
    // Never destroyed: a run may still have something to tell while the process ends.
    static CLS_Debug::CLSlog& log = *std::make_unique<CLS_Debug::CLSlog>("VORNUI").release();
    return log;
}

} // namespace TAV
