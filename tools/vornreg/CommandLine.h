#pragma once

#include "tools/vornreg/Failure.h"

#include <set>
#include <span>
#include <string>
#include <vector>

namespace vornreg {

/// What a sub-command was called with.
struct Call {
    std::vector<std::string> words;
    std::set<char> options; ///< letters of the options that were given
    std::string node;       ///< the value of --node; empty without it

    [[nodiscard]] bool has(char option) const { return options.count(option) != 0; }
};

/// One sub-command. Its texts are literals.
struct Command {
    const char* name;      ///< one word or two: "register", "key get"
    const char* arguments; ///< as usage shows them
    const char* summary;   ///< a few words for the list of sub-commands
    const char* help;      ///< what there is to know, in whole lines
    const char* options;   ///< letters of the options that it takes
    std::size_t minimum;   ///< number of words that it takes
    std::size_t maximum;
    Status (*run)(const Call& call);
};

/// All sub-commands in the order of the usage text.
[[nodiscard]] std::span<const Command> commands();

/// Runs the program; its exit status.
int runCommandLine(int argc, char** argv);

} // namespace vornreg
