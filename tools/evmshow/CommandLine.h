#pragma once

#include "tools/evmshow/Filter.h"
#include "tools/evmshow/Printer.h"

#include <cstdint>
#include <stdexcept>
#include <string>
#include <vector>

namespace evmshow {

extern const char* const USAGE;

/// The command line is not one of this program's: one line that says why.
class UsageError : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

struct Options {
    std::vector<std::string> files; ///< "-" is standard input; never empty
    Filter filter;
    Form form = Form::LINE;
    std::string text; ///< the template or the variable's name
    bool follow = false;
    bool help = false;
};

/// Reads a command line; `now` is what relative times refer to. Throws UsageError.
Options parseCommandLine(int argc, char** argv, std::uint64_t now);

} // namespace evmshow
