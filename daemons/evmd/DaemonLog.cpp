#include "daemons/evmd/DaemonLog.h"

namespace evmd {

CLS_Debug::CLSlog& daemonLog() {
    static CLS_Debug::CLSlog log("EVMD");
    return log;
}

} // namespace evmd
