// The block layout: a line for each attribute of a resource.

#include "tav/ui/cmd/CmdStat.h"
#include "tav/ui/cmd/appendLine.h"
#include "tav/ui/cmd/tavNames.h"

namespace TAV {

namespace {

constexpr char ATTRIBUTE_FAILURE_COUNT[] = "FAILURE_COUNT";
constexpr char LABEL_RESTART_COUNT[] = "RESTART_COUNT";

/// Attributes that the block shows in a place of their own, or not at all.
bool standsApart(const std::string& name, bool profile) {
    if (name == RES_IS_RUNNABLE || name == RES_NAME || name == RES_TYPE) return true;
    return !profile && (name == RES_FAILURE_THRESHOLD || name == ATTRIBUTE_FAILURE_COUNT);
}

} // namespace

CmdStat::Layout CmdStat::blockLayout() {
    return {[](CmdStat& command, std::vector<int>&, std::string& name, rtnData& record) {
        command.formatLongDisplay(name, record);
    }};
}

void CmdStat::formatLongDisplay(std::string& name, rtnData& record) {
    const bool profile = m_form == FORM_PROFILE;
    appendLine(*m_logger, "NAME=", name);
    appendLine(*m_logger, "TYPE=", valueOf(record.attributes, RES_TYPE));
    if (verbose || profile) printAttributes(record);
    if (!profile) {
        if (verbose) {
            appendLine(*m_logger, RES_FAILURE_THRESHOLD, "=",
                       valueOf(record.attributes, RES_FAILURE_THRESHOLD));
            displayMultipleValue(record.failures, ATTRIBUTE_FAILURE_COUNT);
        }
        displayMultipleValue(record.targets, RES_TARGET);
        displayMultipleValue(record.states, RES_STATE);
    }
    appendLine(*m_logger);
}

void CmdStat::printAttributes(rtnData& record) {
    // In the order of names the restart count comes before the attempts, after which it is shown.
    const std::string* restartCount = nullptr;
    for (const auto& [name, value] : record.attributes) {
        if (standsApart(name, m_form == FORM_PROFILE)) continue;
        if (name == RES_RESTART_COUNT) {
            restartCount = &value;
            continue;
        }
        appendLine(*m_logger, name, "=", value);
        if (name == RES_RESTART_ATTEMPTS && restartCount != nullptr)
            appendLine(*m_logger, LABEL_RESTART_COUNT, "=", *restartCount);
    }
}

void CmdStat::displayMultipleValue(std::map<std::string, std::string>& values,
                                   const std::string& label) {
    for (const auto& [node, value] : values) {
        if (node.empty())
            appendLine(*m_logger, label, "=", value);
        else
            appendLine(*m_logger, label, "=", value, " on ", node);
    }
}

} // namespace TAV
