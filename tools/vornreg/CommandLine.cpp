#include "tools/vornreg/CommandLine.h"

#include "cppgen/clsException.h"

#include <getopt.h>

#include <algorithm>
#include <array>
#include <exception>
#include <iostream>
#include <string_view>

namespace vornreg {

namespace {

constexpr char HELP = 'h';
constexpr char NODE = 'n';

/// Every option that some sub-command takes, and its letter; the long name is what people type.
constexpr std::array OPTIONS = {
    option{"help", no_argument, nullptr, HELP}, option{"verbose", no_argument, nullptr, 'v'},
    option{"long", no_argument, nullptr, 'l'},  option{"replace", no_argument, nullptr, 'r'},
    option{"tree", no_argument, nullptr, 't'},  option{"node", required_argument, nullptr, NODE},
};
/// Those that also exist as "-v".
constexpr std::string_view SHORT_OPTIONS = "vl";

std::string usageOf(const Command& command) {
    return std::string("vornreg ") + command.name + (*command.arguments == '\0' ? "" : " ") +
           command.arguments;
}

/// A refusal that says where to read on.
Failure misuse(const std::string& topic, const std::string& text) {
    const std::string words = topic.empty() ? "" : topic + ' ';
    return {Status::usage,
            (topic.empty() ? "" : topic + ": ") + text + "; see vornreg " + words + "--help"};
}

void printHelp(const Command& command) {
    std::cout << "Usage:  " << usageOf(command) << "\n\n" << command.help;
}

/// The list of sub-commands; of those whose name begins with `group` when that is not empty.
void printUsage(const std::string& group) {
    std::cout << "Usage:\n";
    for (const Command& command : commands()) {
        if (!std::string_view(command.name).starts_with(group)) continue;
        const std::string usage = usageOf(command);
        std::cout << "  " << usage << std::string(usage.size() < 46 ? 46 - usage.size() : 1, ' ')
                  << ' ' << command.summary << '\n';
    }
    std::cout << "\nExit status: 0 done, 1 failed, 2 usage, 3 no such resource or key, 4 already "
                 "there,\n5 not permitted, 6 registry not available.\n";
}

/// The options of one sub-command as getopt_long wants them.
struct Grammar {
    explicit Grammar(const Command& command) {
        const std::string letters = std::string(command.options) + HELP;
        // Without options of its own, a word may begin with "-": it is a value.
        shorts = *command.options == '\0' ? "+:" : ":";
        for (const option& known : OPTIONS) {
            const char letter = static_cast<char>(known.val);
            if (letters.find(letter) == std::string::npos) continue;
            longs.push_back(known);
            if (SHORT_OPTIONS.find(letter) != std::string_view::npos) shorts += letter;
        }
        longs.push_back({});
    }
    std::string shorts;
    std::vector<option> longs;
};

/// The option that getopt_long has just refused.
std::string badOption(char** argv) {
    const std::string word = argv[optind - 1];
    return word.starts_with("--") ? word : std::string{'-', static_cast<char>(optopt)};
}

/// Reads what follows the sub-command's name, which stands at argv[0].
Call readCall(const Command& command, int argc, char** argv) {
    const Grammar grammar(command);
    Call call;
    optind = 0;
    opterr = 0;
    while (true) {
        const int letter =
            getopt_long(argc, argv, grammar.shorts.c_str(), grammar.longs.data(), nullptr);
        if (letter == -1) break;
        if (letter == ':') throw misuse(command.name, badOption(argv) + " needs a value");
        if (letter == '?') throw misuse(command.name, "unknown option " + badOption(argv));
        call.options.insert(static_cast<char>(letter));
        if (letter == NODE) call.node = optarg;
    }
    call.words.assign(argv + optind, argv + argc);
    return call;
}

Status runCommand(const Command& command, int argc, char** argv) {
    const Call call = readCall(command, argc, argv);
    if (call.has(HELP)) {
        printHelp(command);
        return Status::done;
    }
    if (call.has(NODE) && call.node.empty()) throw misuse(command.name, "--node needs a value");
    if (call.words.size() < command.minimum) throw misuse(command.name, "something is missing");
    if (call.words.size() > command.maximum)
        throw misuse(command.name, "'" + call.words[command.maximum] + "' is too much");
    return command.run(call);
}

/// The sub-command whose name argv[1] is, or argv[1] and argv[2] are; null when there is none.
/// `words` is the number of words of its name.
const Command* findCommand(int argc, char** argv, int& words) {
    std::string name;
    for (words = 1; words <= 2 && words < argc; ++words) {
        name += (words == 1 ? "" : " ") + std::string(argv[words]);
        for (const Command& command : commands())
            if (name == command.name) return &command;
    }
    return nullptr;
}

bool isGroup(const std::string& word) {
    const std::span<const Command> all = commands();
    return std::any_of(all.begin(), all.end(), [&](const Command& command) {
        return std::string_view(command.name).starts_with(word + ' ');
    });
}

Status dispatch(int argc, char** argv) {
    if (argc < 2) throw misuse("", "no sub-command is given");
    int words = 0;
    if (const Command* const command = findCommand(argc, argv, words))
        return runCommand(*command, argc - words, argv + words);
    const std::string word = argv[1];
    const std::string group = isGroup(word) ? word : "";
    const int last = group.empty() ? 1 : 2;
    if (argc == last + 1 && std::string_view(argv[last]) == "--help") {
        printUsage(group.empty() ? "" : group + ' ');
        return Status::done;
    }
    if (group.empty()) throw misuse("", "no sub-command is named '" + word + "'");
    throw misuse(group, argc == 2 ? "something is missing"
                                  : "no sub-command is named '" + std::string(argv[2]) + "'");
}

/// Runs it and has what it printed taken by whoever reads it.
Status runToTheEnd(int argc, char** argv) {
    const Status status = dispatch(argc, argv);
    if (!std::cout.flush()) throw Failure(Status::failed, "standard output cannot be written");
    return status;
}

} // namespace

int runCommandLine(int argc, char** argv) {
    Status status = Status::failed;
    try {
        status = runToTheEnd(argc, argv);
    } catch (const Failure& failure) {
        complain(failure.what());
        status = failure.status();
    } catch (const cls::Exception& error) {
        // Further lines of its text say where in the source it was raised.
        complain(error.what().substr(0, error.what().find('\n')));
    } catch (const std::exception& error) {
        complain(error.what());
    }
    return static_cast<int>(status);
}

} // namespace vornreg
