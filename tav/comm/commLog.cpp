#include "tav/comm/commLog.h"

#include "platform/include/immortal.h"

namespace TAV {

CLS_Debug::CLSlog& commLog() {
    static Immortal<CLS_Debug::CLSlog> log("VORNCOMM");
    return *log;
}

} // namespace TAV
