#include "tools/evmshow/CommandLine.h"

#include "evm/libevm/names.h"
#include "tools/evmshow/TimeText.h"

#include <getopt.h>

#include <algorithm>
#include <charconv>
#include <optional>

namespace evmshow {

const char* const USAGE =
    "Usage:  evmshow [options] [FILE...|-]\n"
    "\n"
    "Prints the events of files of records, or of standard input, each as its one-line message.\n"
    "  -t TEMPLATE        print TEMPLATE filled in, and a line end\n"
    "  -d                 print every item and variable\n"
    "  -v NAME            print the value of the variable NAME exactly, and nothing else\n"
    "  -r                 print the text of a command's event exactly: -v TAV_LOG\n"
    "  -c                 print only how many events there are\n"
    "  -n PATTERN         only events whose name matches\n"
    "  -p LOW[-HIGH]      only events with such a priority, 0 to 700\n"
    "  --since TIME       only events from then on: seconds since the epoch,\n"
    "  --until TIME       and up to then: \"YYYY-MM-DD[ HH:MM[:SS]]\", \"-10m\", \"-2h\", \"-1d\"\n"
    "  -f                 go on with what is appended to FILE, until SIGINT or SIGTERM\n"
    "  -h, --help         print this\n"
    "Status: 0 complete, 1 something was skipped, 2 usage, 3 cannot read or write\n";

namespace {

/// The variable in which a command's event carries what it would have printed.
constexpr const char* COMMAND_TEXT = "TAV_LOG";

enum LongOption : int { SINCE = 256, UNTIL };
constexpr option LONG_OPTIONS[] = {{"since", required_argument, nullptr, SINCE},
                                   {"until", required_argument, nullptr, UNTIL},
                                   {"help", no_argument, nullptr, 'h'},
                                   {nullptr, 0, nullptr, 0}};

class Parser {
public:
    Parser(Options& options, std::uint64_t now) : m_options(options), m_now(now) {}

    void take(int option, const std::string& value) {
        switch (option) {
        case 't':
            return setForm(Form::TEMPLATE, value);
        case 'd':
            return setForm(Form::DUMP, {});
        case 'r':
            return setForm(Form::VARIABLE, COMMAND_TEXT);
        case 'v':
            return setVariable(value);
        case 'c':
            return setForm(Form::COUNT, {});
        case 'n':
            return addName(value);
        case 'p':
            return addPriorities(value);
        case SINCE:
        case UNTIL:
            return addTime(option, value);
        case 'f':
            m_options.follow = true;
            return;
        default:
            m_options.help = true;
        }
    }

private:
    void setForm(Form form, const std::string& text) {
        if (m_formGiven) throw UsageError("only one of -t, -d, -v, -r, -c can be given");
        m_formGiven = true;
        m_options.form = form;
        m_options.text = text;
    }

    void setVariable(const std::string& name) {
        if (evm::_evmVarNameCheck(name) != EvmERROR_NONE)
            throw UsageError("no name of a variable: \"" + name + "\"");
        setForm(Form::VARIABLE, name);
    }

    void addName(const std::string& text) {
        auto pattern = NamePattern::parse(text);
        if (!pattern) throw UsageError("no pattern of names: \"" + text + "\"");
        m_options.filter.names.push_back(std::move(*pattern));
    }

    void addTime(int option, const std::string& text) {
        const auto time = parseTime(text, m_now);
        if (!time) throw UsageError("no time: \"" + text + "\"");
        Filter& filter = m_options.filter;
        filter.byTime = true;
        if (option == SINCE)
            filter.since = std::max(filter.since, *time);
        else
            filter.until = std::min(filter.until, *time);
    }

    void addPriorities(std::string_view text) {
        const std::size_t dash = text.find('-');
        const auto low = priority(text.substr(0, dash));
        const auto high = dash == std::string_view::npos ? low : priority(text.substr(dash + 1));
        if (!low || !high || *low > *high)
            throw UsageError("no range of priorities: \"" + std::string(text) + "\"");
        Filter& filter = m_options.filter;
        filter.byPriority = true;
        filter.lowest = std::max(filter.lowest, *low);
        filter.highest = std::min(filter.highest, *high);
    }

    static std::optional<EvmPriority_t> priority(std::string_view text) {
        EvmPriority_t value = 0;
        const char* const end = text.data() + text.size();
        const auto [stop, error] = std::from_chars(text.data(), end, value);
        if (error != std::errc{} || stop != end || value > EvmPRIORITY_MAX) return std::nullopt;
        return value;
    }

    Options& m_options;
    const std::uint64_t m_now;
    bool m_formGiven = false;
};

/// How the word that getopt does not like was written.
std::string badOption(int option, char** argv) {
    const std::string word = optopt > 0 && optopt < SINCE
                                 ? std::string("-") + static_cast<char>(optopt)
                                 : std::string(argv[optind - 1]);
    return option == ':' ? "a value is missing after " + word : "no such option: " + word;
}

void checkTogether(const Options& options) {
    if (!options.follow) return;
    if (options.form == Form::COUNT) throw UsageError("-c and -f cannot be given together");
    if (options.files.size() != 1 || options.files.front() == "-")
        throw UsageError("-f needs exactly one FILE");
}

} // namespace

Options parseCommandLine(int argc, char** argv, std::uint64_t now) {
    Options options;
    Parser parser(options, now);
    opterr = 0;
    for (int option = 0;
         (option = getopt_long(argc, argv, ":t:dv:rcn:p:fh", LONG_OPTIONS, nullptr)) != -1;) {
        if (option == '?' || option == ':') throw UsageError(badOption(option, argv));
        parser.take(option, optarg == nullptr ? std::string() : std::string(optarg));
    }
    options.files.assign(argv + optind, argv + argc);
    if (options.files.empty()) options.files.emplace_back("-");
    if (!options.help) checkTogether(options);
    return options;
}

} // namespace evmshow
