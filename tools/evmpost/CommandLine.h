#pragma once

#include "tools/evmpost/Setting.h"

#include <stdexcept>
#include <string>
#include <vector>

namespace evmpost {

extern const char* const USAGE;

/// The command line is not one of this program's: one line that says why.
class UsageError : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

struct Options {
    std::string name;
    std::vector<ItemSetting> items;
    std::vector<VariableSetting> variables;
    bool lines = false;  ///< one event for each line of standard input
    std::string address; ///< of the daemon; empty for the default
    std::string output;  ///< a file instead of the daemon, "-" for standard output; else empty
    bool help = false;
};

/// Throws UsageError.
Options parseCommandLine(int argc, char** argv);

} // namespace evmpost
