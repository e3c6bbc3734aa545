#include "tav/msg/TavLoggerOutput.h"

#include "tav/msg/TavLoggerDiagnostics.h"
#include "tav/registry/Path.h"

#include <atomic>
#include <cerrno>
#include <cstdio>
#include <iostream>
#include <system_error>

namespace TAV {

namespace {

void tellOnce(int reason) {
    static constinit std::atomic<bool> told{false};
    if (told.exchange(true)) return;
    // The reason of a failure that others met, and did not tell, is not known any more.
    const std::string text =
        std::error_code(reason != 0 ? reason : EIO, std::generic_category()).message();
    std::cerr << VORN_STAT_COMMAND << ": cannot write standard output: " << text << '\n';
    uiDiagnostic(" cannot write standard output: ", text);
}

} // namespace

bool printStandardOutput(std::string_view text) {
    errno = 0;
    std::cout.write(text.data(), static_cast<std::streamsize>(text.size()));
    if (std::cout) std::cout.flush();
    if (std::cout && std::ferror(stdout) == 0) return true;
    tellOnce(errno);
    return false;
}

bool standardOutputArrived() {
    return printStandardOutput({});
}

} // namespace TAV
