// The table of states: a row for each resource and node.

#include "tav/ui/cmd/CmdStat.h"
#include "tav/ui/cmd/appendLine.h"
#include "tav/ui/cmd/tavNames.h"

#include <algorithm>

namespace TAV {

namespace {

/// The columns, in the order printed; each title is a message.
enum Column : std::size_t { NAME, TYPE, RESTARTS, FAILURES, TARGET, STATE, NODE, COLUMNS };

constexpr int WIDTHS[COLUMNS] = {15, 15, 7, 7, 10, 10, 12};
constexpr int FIRST_TITLE = 101;
constexpr std::size_t RULE = 60;
constexpr std::size_t RULE_VERBOSE = 70;

/// What a resource that is runnable says of itself.
constexpr char RUNNABLE[] = "1";
constexpr char NO_RESTARTS[] = " - ";
constexpr char ATTRIBUTE_RESTART_COUNT[] = "RESTART_COUNT";

bool isCounter(std::size_t column) {
    return column == RESTARTS || column == FAILURES;
}

std::string_view firstValue(const std::map<std::string, std::string>& map) {
    return map.empty() ? std::string_view() : std::string_view(map.begin()->second);
}

std::string ratio(std::string_view count, std::string_view limit) {
    std::string text(count);
    text += '/';
    text += limit;
    return text;
}

std::string restarts(const std::map<std::string, std::string>& attributes) {
    const bool current = attributes.contains(RES_RESTART_COUNT);
    return ratio(valueOf(attributes, current ? RES_RESTART_COUNT : ATTRIBUTE_RESTART_COUNT),
                 valueOf(attributes, RES_RESTART_ATTEMPTS));
}

} // namespace

CmdStat::Layout CmdStat::tableLayout() {
    Layout layout{[](CmdStat& command, std::vector<int>& widths, std::string& name,
                     rtnData& record) { command.formatDefaultDisplay(widths, name, record); }};
    for (std::size_t column = NAME; column < COLUMNS; ++column) {
        const bool shown = verbose || !isCounter(column);
        layout.widths.push_back(shown ? WIDTHS[column] : 0);
        if (shown) layout.header += title(FIRST_TITLE + static_cast<int>(column), WIDTHS[column]);
    }
    layout.header += '\n' + std::string(verbose ? RULE_VERBOSE : RULE, '-') + '\n';
    return layout;
}

std::string CmdStat::title(int message, int width) {
    std::string text = messageText(message);
    formatDefaultString(width, text);
    return text;
}

void CmdStat::formatDefaultString(int width, std::string& text) {
    constexpr std::size_t KEPT = 4;
    const auto columns = static_cast<std::size_t>(std::max(width, 0));
    if (text.size() >= columns) {
        const std::size_t from = std::min(KEPT, text.size());
        text.replace(from, text.size() - columns + KEPT, "...");
    }
    text.resize(columns, ' ');
}

void CmdStat::formatDefaultDisplay(std::vector<int>& widths, std::string& name, rtnData& record) {
    const auto fitted = [&](Column column, std::string text) {
        formatDefaultString(widths[column], text);
        return text;
    };
    const bool runnable = valueOf(record.attributes, RES_IS_RUNNABLE) == RUNNABLE;
    const auto ofNode = [&](const auto& map, const std::string& node) {
        return runnable ? firstValue(map) : valueOf(map, node);
    };
    std::string same = fitted(NAME, name);
    same += fitted(TYPE, std::string(valueOf(record.attributes, RES_TYPE)));
    if (verbose) same += fitted(RESTARTS, runnable ? restarts(record.attributes) : NO_RESTARTS);
    const std::string_view threshold = valueOf(record.attributes, RES_FAILURE_THRESHOLD);
    for (const auto& [node, state] : record.states) {
        m_logger->append(same);
        if (verbose)
            m_logger->append(fitted(FAILURES, ratio(ofNode(record.failures, node), threshold)));
        appendLine(*m_logger, fitted(TARGET, std::string(ofNode(record.targets, node))),
                   fitted(STATE, state), fitted(NODE, node));
    }
}

} // namespace TAV
