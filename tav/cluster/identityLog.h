#pragma once

#include "platform/include/slots.h"
#include "tav/cluster/Identity.h"
#include "tav/cluster/moduleLog.h"

#include <string_view>

/// What the sources of Identity share among themselves; nobody else includes this.
namespace TAV {

/// The identity services' context.
inline scls_ctx* identityContext() {
    return static_cast<scls_ctx*>(clsgGet(CLSG_IDENTITY));
}

/// Tells of the call of an identity service that comes next.
inline void traceCall(const char* service, const char* file = __builtin_FILE(),
                      int line = __builtin_LINE()) {
    const std::string_view path = file;
    logPieces(s_dbug(), CLS_Debug::CLSlog::TYPE_OUT, CLS_Debug::DETAIL_ALGORITHM, " Calling ",
              service, "():FILENAME=[", path.substr(path.rfind('/') + 1), "]. LINE=[", line, "].");
}

template <class... Pieces>
void traceIdentity(const Pieces&... pieces) {
    logPieces(s_dbug(), CLS_Debug::CLSlog::TYPE_OUT, CLS_Debug::DETAIL_ALGORITHM, ' ', pieces...);
}

template <class... Pieces>
void logIdentity(const Pieces&... pieces) {
    logLine(s_dbug(), ' ', pieces...);
}

} // namespace TAV
