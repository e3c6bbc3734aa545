#include "tav/comm/commLog.h"

#include "cppgen/clsLogImmortal.h"

namespace TAV {

CLS_Debug::CLSlog& commLog() {
    static CLS_Debug::Immortal<CLS_Debug::CLSlog> log("VORNCOMM");
    return log.get();
}

} // namespace TAV
