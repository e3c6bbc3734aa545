#include "tav/ui/cmd/CmdStat.h"

#include "tav/comm/Container.h"
#include "tav/msg/TavLogger.h"
#include "tav/msg/TavLoggerOutput.h"
#include "tav/ui/cmd/CmdParse.h"
#include "tav/ui/cmd/tavNames.h"

#include <utility>

namespace TAV {

namespace {

constexpr int MESSAGE_SUPERSEDED_BY = 273;
constexpr int MESSAGE_USAGE_WHILE_QUIET = 173;
constexpr char REPLACEMENT[] = "vornctl status resource";

/// Return codes of the forms that answer through the exit status.
constexpr int NO_ANSWER = 2;
int asTheDaemonChose(int number) {
    return number;
}
int yesOrNo(int number) {
    return number == 0 ? 0 : 1;
}

} // namespace

CmdStat::CmdStat(TavLogger* logger) : UiEvent(logger) {
    initArgs();
}

CmdStat::~CmdStat() = default;

void CmdStat::initPaths() {
    constructPaths();
}

int CmdStat::procArgs(CmdParse& parser) {
    parser.initArgs(m_optionTable);
    if (const int outcome = scanArgs(); outcome != DONE) return outcome;
    setQuietMode();
    longLayout = true;
    for (tavArg* arg : m_optionTable)
        if (arg->showStatus() == ARG_FOUND) noteOption(*arg);
    switch (m_form) {
    case FORM_BLOCKS:
    case FORM_TABLE:
        return getResStat();
    case FORM_PROFILE:
        return getProfStat();
    case FORM_IS_REGISTERED:
        return getRegStat();
    case FORM_IS_RUNNING:
        return getRunStat();
    case FORM_FULL:
        return getFullStat();
    case FORM_PERMISSIONS:
        return getListStat();
    default:
        return USAGE;
    }
}

void CmdStat::noteOption(tavArg& arg) {
    const std::string& key = arg.showArgKey();
    if (key == tav_TAB) longLayout = false;
    if (key == tav_VERB) verbose = true;
    if (key == tav_FULL) verbose = longLayout = true;
    if (key == tav_HOST) clusterMember = arg.showArgValue();
}

int CmdStat::getResStat() {
    return list(longLayout ? blockLayout() : tableLayout());
}

int CmdStat::getProfStat() {
    return list(blockLayout());
}

int CmdStat::getFullStat() {
    return list(blockLayout());
}

int CmdStat::getListStat() {
    return list(permissionLayout());
}

int CmdStat::getRegStat() {
    return answer(asTheDaemonChose);
}

int CmdStat::getRunStat() {
    return answer(yesOrNo);
}

int CmdStat::request() {
    const int outcome = setArgList();
    return outcome == DONE ? sendArgs(UI_STAT) : outcome;
}

int CmdStat::list(Layout layout) {
    int outcome = request();
    if (outcome == DONE) {
        outcome = takeReply([&] {
            printRecords(layout);
            statRecords.clear();
        });
        // That the request failed may be the last thing that the reply says.
        if (outcome != DONE) m_logger->set();
    }
    getExtLog(layout.widths);
    return outcome;
}

int CmdStat::answer(int (*returnCode)(int number)) {
    int outcome = request();
    if (outcome == DONE) outcome = procEngineData();
    m_logger->set();
    // A reply without any number gives no answer either, and no answer is no "yes".
    const bool answered = outcome == DONE && !results.empty();
    m_logger->setRtnCode(answered ? returnCode(results.front().second) : NO_ANSWER);
    return outcome;
}

void CmdStat::printRecords(Layout& layout) {
    if (statRecords.empty()) return;
    m_logger->append(std::exchange(layout.header, {}));
    for (auto& [name, record] : statRecords) layout.print(*this, layout.widths, name, record);
}

void CmdStat::getExtLog(std::vector<int>& /*widths*/) {
    if (*m_logger->getRtnCode() != MESSAGE_REQUEST_FAILED) display();
    for (const auto& [key, number] : results) {
        if (key == KEY_RESULT)
            m_logger->log(number);
        else
            m_logger->log(number, key);
    }
}

void CmdStat::showUsage() {
    if (m_quiet) {
        m_logger->log(ROUTE_STDERR, MESSAGE_USAGE_WHILE_QUIET);
        return;
    }
    showDeprecatedMessage(MESSAGE_SUPERSEDED_BY, REPLACEMENT);
    printStandardOutput(std::string(STAT_USAGE) + "\n");
}

} // namespace TAV
