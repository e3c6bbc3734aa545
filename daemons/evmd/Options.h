#pragma once

#include <cstdint>
#include <span>
#include <string>

namespace evmd {

/// What the command line asks for.
struct Options {
    static constexpr std::uint64_t FILE_SIZE = 64 * 1024 * 1024;

    bool help = false;
    std::string file; ///< empty: "evmd.events" in runtime_dir
    std::uint64_t fileSize = FILE_SIZE;
};

/// Reads the arguments after the program's name; throws StartError.
Options parseOptions(std::span<char* const> arguments);

} // namespace evmd
