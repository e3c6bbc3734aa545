#pragma once

#include "platform/include/slos.h"

namespace TAV {

/// Tells on standard error what failed in the operating-system layer.
void printErrorRecord(const slos& record);

} // namespace TAV
