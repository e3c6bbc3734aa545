#include "tools/evmpost/CommandLine.h"

#include "evm/libevm/names.h"

#include <getopt.h>

namespace evmpost {

const char* const USAGE =
    "Usage:  evmpost NAME [options]\n"
    "\n"
    "Posts an event of that name to the event daemon and waits until it is accepted.\n"
    "  -p PRIORITY             its priority, 0 to 700\n"
    "  -i ITEM=VALUE           a data item: format, ref, host_name, cluster_event ...\n"
    "  -v NAME[:TYPE]=VALUE    a variable; TYPE is string, boolean, char, int16, int32, int64,\n"
    "                          uint8, uint16, uint32, uint64, float, double or opaque (hex "
    "digits)\n"
    "  --stdin                 one event for each line of standard input, which becomes the value\n"
    "                          of the variable \"message\"\n"
    "  --address ADDRESS       the daemon's address\n"
    "  -o FILE                 append the record to FILE (\"-\": standard output), not post it\n"
    "  -h, --help              print this\n"
    "Status: 0 posted, 1 refused or failed, 2 usage, 3 no daemon\n";

namespace {

enum LongOption : int { STDIN = 256, ADDRESS };
constexpr option LONG_OPTIONS[] = {{"stdin", no_argument, nullptr, STDIN},
                                   {"address", required_argument, nullptr, ADDRESS},
                                   {"help", no_argument, nullptr, 'h'},
                                   {nullptr, 0, nullptr, 0}};

ItemSetting item(const std::string& text) {
    auto setting = parseItem(text);
    if (!setting) throw UsageError("no data item and a value of it: \"" + text + "\"");
    return std::move(*setting);
}

VariableSetting variable(const std::string& text) {
    auto setting = parseVariable(text);
    if (!setting) throw UsageError("no variable and a value of it: \"" + text + "\"");
    return std::move(*setting);
}

void take(Options& options, int option, const std::string& value) {
    switch (option) {
    case 'p':
        options.items.push_back(item("priority=" + value));
        break;
    case 'i':
        options.items.push_back(item(value));
        break;
    case 'v':
        options.variables.push_back(variable(value));
        break;
    case STDIN:
        options.lines = true;
        break;
    case ADDRESS:
        options.address = value;
        break;
    case 'o':
        options.output = value;
        break;
    default:
        options.help = true;
    }
}

/// How the word that getopt does not like was written.
std::string badOption(int option, char** argv) {
    const std::string word = optopt > 0 && optopt < STDIN
                                 ? std::string("-") + static_cast<char>(optopt)
                                 : std::string(argv[optind - 1]);
    return option == ':' ? "a value is missing after " + word : "no such option: " + word;
}

void takeName(Options& options, int count, char** words) {
    if (count != 1) throw UsageError("exactly one NAME is needed");
    options.name = words[0];
    if (options.name.empty() || evm::_evmNameCheck(options.name, false, nullptr) != EvmERROR_NONE)
        throw UsageError("no name of an event: \"" + options.name + "\"");
}

} // namespace

Options parseCommandLine(int argc, char** argv) {
    Options options;
    opterr = 0;
    for (int option = 0;
         (option = getopt_long(argc, argv, ":p:i:v:o:h", LONG_OPTIONS, nullptr)) != -1;) {
        if (option == '?' || option == ':') throw UsageError(badOption(option, argv));
        take(options, option, optarg == nullptr ? std::string() : std::string(optarg));
    }
    if (!options.help) takeName(options, argc - optind, argv + optind);
    return options;
}

} // namespace evmpost
