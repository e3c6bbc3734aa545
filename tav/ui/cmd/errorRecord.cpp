#include "tav/ui/cmd/errorRecord.h"

#include <cstdio>

namespace TAV {

void printErrorRecord(const slos& record) {
    std::fprintf(stderr, "category: %d, operation: %s, loc: %s, OS error: %d, other: %s\n",
                 record.category, record.operation, record.location, record.oserror, record.other);
}

} // namespace TAV
