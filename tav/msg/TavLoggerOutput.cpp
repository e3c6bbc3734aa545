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

/// Whether something was lost, which is told once.
constinit std::atomic<bool> s_lost{false};

void tellLoss(int reason) {
    if (s_lost.exchange(true)) return;
    // Why a write of others failed, who did not tell, is not known any more.
    const std::string text = "cannot write standard output: " +
                             std::generic_category().message(reason != 0 ? reason : EIO);
    std::cerr << std::string(VORN_STAT_COMMAND) + ": " + text + "\n";
    uiDiagnostic(" ", text);
}

bool failed() {
    return !std::cout || std::ferror(stdout) != 0;
}

} // namespace

bool printStandardOutput(std::string_view text) {
    // What others wrote and lost is found out here; trying on tells the reason.
    const bool lostBefore = failed();
    std::cout.clear();
    std::clearerr(stdout);
    errno = 0;
    std::cout.write(text.data(), static_cast<std::streamsize>(text.size()));
    if (std::cout) std::cout.flush();
    const int reason = errno;
    const bool arrived = !failed();
    if (lostBefore || !arrived) tellLoss(arrived ? 0 : reason);
    return arrived && !lostBefore;
}

bool standardOutputArrived() {
    return printStandardOutput({}) && !s_lost;
}

} // namespace TAV
