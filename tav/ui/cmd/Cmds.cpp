#include "tav/ui/cmd/Cmds.h"

#include "platform/include/identity.h"
#include "platform/include/process.h"
#include "platform/include/slots.h"
#include "tav/msg/TavLogger.h"
#include "tav/msg/TavLoggerDiagnostics.h"
#include "tav/registry/clsgenv.h"
#include "tav/ui/cmd/errorRecord.h"
#include "tav/ui/cmd/tavNames.h"

#include <utility>

namespace TAV {

Cmds::Cmds(TavLogger* logger) : m_logger(logger) {}

Cmds::~Cmds() {
    for (tavArg* arg : m_optionTable) std::unique_ptr<tavArg>(arg).reset();
}

void Cmds::addArg(std::unique_ptr<tavArg> arg) {
    m_optionTable.push_back(nullptr);
    m_optionTable.back() = arg.release();
}

int Cmds::scanArgs() {
    int unsatisfied = 0;
    int matches = 0;
    for (tavArg* arg : m_optionTable) {
        const arg_Status status = arg->showStatus();
        if (status == ARG_REQUIRED || status == ARG_INVALID) ++unsatisfied;
        noteFlags(*arg);
        if (arg->showArgKey() != tav_TRASH) continue;
        if (unsatisfied == 0) {
            ++matches;
            m_form = arg->showArgID();
        }
        unsatisfied = 0;
    }
    return matches == 1 ? DONE : USAGE;
}

void Cmds::noteFlags(tavArg& arg) {
    if (arg.showStatus() != ARG_FOUND) return;
    if (arg.showArgKey() == tav_QUIET) m_quiet = true;
    if (arg.showArgKey() == tav_FORCE) m_force = true;
}

void Cmds::setQuietMode() {
    if (!m_quiet) return;
    int on = 1;
    m_logger->setEventSwitch(on);
    slos record{};
    if (scls_stdio_nullify(0, &record, SCLS_STDOUT_AND_STDERR) != 0) printErrorRecord(record);
}

int Cmds::setArgList() {
    for (tavArg* arg : m_optionTable)
        if (arg->showArgID() == m_form) arg->setArgList(m_requestEntries);
    appendArgList(tav_VORN_LEGACY_CLIENT, "true");
    appendArgList(tav_LOCALE, m_locale);
    return appendPrimaryGroup();
}

int Cmds::appendPrimaryGroup() {
    char name[TAV_MSGSIZE] = {};
    slos record{};
    auto* context = static_cast<scls_ctx*>(clsgGet(CLSG_IDENTITY));
    switch (scls_idq_get_primary_privgrp_name(context, &record, 0, name, sizeof name)) {
    case SCLS_OK:
        appendArgList(tav_PRIMGROUP, name);
        return DONE;
    case SCLS_NONE:
        appendArgList(tav_PRIMGROUP, "");
        return DONE;
    default:
        printErrorRecord(record);
        return FAILED;
    }
}

void Cmds::appendArgList(std::string key, std::string value) {
    m_requestEntries.push_back(std::move(key) + ENTRY_SEPARATOR + std::move(value));
}

int Cmds::constructPaths() {
    const char* home = clsgenv(CLSGENV_HOME);
    if (home != nullptr && Path(home).initializePaths() == 0) return DONE;
    uiDiagnostic(" constructPaths: no paths can be composed from the installation home");
    return USAGE;
}

void Cmds::display() {
    m_logger->setLogRoute(ROUTE_STDOUT);
    m_logger->setEventName(EVENT_NAME);
    m_logger->logOrigProc();
}

} // namespace TAV
