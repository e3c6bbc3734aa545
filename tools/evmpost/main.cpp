#include "platform/include/process.h"
#include "tools/evmpost/CommandLine.h"
#include "tools/evmpost/Destination.h"
#include "tools/evmpost/LineReader.h"

#include <unistd.h>

#include <exception>
#include <iostream>
#include <new>

namespace evmpost {

namespace {

/// Scripts test them: they stay as they are.
enum Status : int { POSTED = 0, FAILED = 1, USAGE_FAULT = 2, NO_DAEMON = 3 };

constexpr const char* LINE_VARIABLE = "message";

void complain(const std::string& text) {
    std::cerr << "evmpost: " + text + "\n";
}

struct DropEvent {
    void operator()(EvmEventHandle_s* event) const { EvmEventDestroy(event); }
};
using Event = std::unique_ptr<EvmEventHandle_s, DropEvent>;

void require(EvmStatus_t status, const std::string& what) {
    if (status != EvmERROR_NONE) throw std::runtime_error(what + ": " + statusText(status));
}

Event makeEvent(const Options& options) {
    EvmEvent_t made = nullptr;
    require(EvmEventCreateVa(&made, EvmITEM_NAME, options.name.c_str(), EvmITEM_NONE),
            "the event cannot be made");
    Event event(made);
    for (const ItemSetting& setting : options.items)
        require(apply(event.get(), setting), "a data item cannot be set");
    for (const VariableSetting& setting : options.variables)
        require(apply(event.get(), setting), "the variable " + setting.name + " cannot be set");
    return event;
}

Status postOne(EvmEvent_t event, Destination& destination) {
    const EvmStatus_t status = destination.take(event);
    if (status == EvmERROR_NONE) return POSTED;
    complain("the event was not posted: " + statusText(status));
    return FAILED;
}

/// Why a line cannot be a variable's value; null when it can.
const char* faultOf(const std::string& line) {
    if (line.size() > LineReader::LONGEST_LINE) return "it is too long";
    return line.find('\0') != std::string::npos ? "it contains a NUL" : nullptr;
}

/// One event for each line; a refused one does not keep the others back.
Status postLines(EvmEvent_t event, Destination& destination) {
    Status result = POSTED;
    LineReader reader(STDIN_FILENO);
    std::string line;
    for (std::uint64_t number = 1; reader.next(line); ++number) {
        std::string fault;
        if (const char* const text = faultOf(line))
            fault = text;
        else if (const EvmStatus_t set = EvmVarSetString(event, LINE_VARIABLE, line.c_str());
                 set != EvmERROR_NONE)
            fault = statusText(set);
        else if (const EvmStatus_t status = destination.take(event); status != EvmERROR_NONE)
            fault = statusText(status);
        if (fault.empty()) continue;
        complain("line " + std::to_string(number) + " was not posted: " + fault);
        result = FAILED;
    }
    return result;
}

Status run(const Options& options) {
    const Event event = makeEvent(options);
    const auto destination =
        options.output.empty() ? connectToDaemon(options.address) : openFile(options.output);
    return options.lines ? postLines(event.get(), *destination)
                         : postOne(event.get(), *destination);
}

} // namespace

} // namespace evmpost

int main(int argc, char** argv) {
    using namespace evmpost;
    try {
        scls_reserve_standard_streams();
        scls_ignore_broken_pipes();
        const Options options = parseCommandLine(argc, argv);
        if (!options.help) return run(options);
        std::cout << USAGE << std::flush;
        return std::cout ? POSTED : FAILED;
    } catch (const UsageError& error) {
        complain(error.what());
        std::cerr << USAGE;
        return USAGE_FAULT;
    } catch (const DestinationError& error) {
        complain(error.what());
        return error.noDaemon() ? NO_DAEMON : FAILED;
    } catch (const std::exception& error) {
        complain(error.what());
        return FAILED;
    }
}
