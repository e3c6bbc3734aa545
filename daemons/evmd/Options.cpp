#include "daemons/evmd/Options.h"

#include "daemons/evmd/Daemon.h"
#include "daemons/evmd/DaemonLog.h"

#include <charconv>
#include <string_view>

namespace evmd {

namespace {

std::uint64_t sizeOf(std::string_view text) {
    std::uint64_t size = 0;
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), size);
    if (error != std::errc() || end != text.data() + text.size() || size == 0)
        throw StartError("--file-size takes a number of bytes, not " + printable(text));
    return size;
}

} // namespace

Options parseOptions(std::span<char* const> arguments) {
    Options options;
    while (!arguments.empty()) {
        const std::string_view name = arguments.front();
        arguments = arguments.subspan(1);
        if (name == "--help") {
            options.help = true;
            continue;
        }
        if (name != "--file" && name != "--file-size")
            throw StartError("it does not know " + printable(name) + "; see evmd --help");
        if (arguments.empty() || *arguments.front() == '\0')
            throw StartError(std::string(name) + " takes a value; see evmd --help");
        if (name == "--file")
            options.file = arguments.front();
        else
            options.fileSize = sizeOf(arguments.front());
        arguments = arguments.subspan(1);
    }
    return options;
}

} // namespace evmd
