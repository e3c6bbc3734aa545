#pragma once

#include "platform/include/clsc.h"

namespace TAV {

/// The process's one communication context, created on first demand and shared until the process
/// ends (global slot 11). Null on failure; a later call tries again. The first successful call
/// fixes whether it is threaded. Thread-safe.
clscctx* tavinitclscctx(bool threaded);
clscctx* tavgetclscctx();

/// Trace callback that the layer can be given: logs the formatted text, cut to 1,023 bytes, and
/// returns 1. The context is not used.
int tavCbkTrace(void* context, unsigned char* format, ...);

/// Sleeps n milliseconds, also across signals; returns the time slept as the platform reported
/// last, in microseconds.
int tavsleep(unsigned int n);

} // namespace TAV
