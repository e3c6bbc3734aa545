#include "tav/cluster/moduleLog.h"

#include "platform/include/immortal.h"

namespace TAV {

CLS_Debug::CLSlog& clusterLog() {
    static Immortal<CLS_Debug::CLSlog> log("VORNQUORD");
    return *log;
}

CLS_Debug::CLSlog& lockLog() {
    static Immortal<CLS_Debug::CLSlog> log("VORNRTI");
    return *log;
}

} // namespace TAV
