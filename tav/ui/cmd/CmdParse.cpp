#include "tav/ui/cmd/CmdParse.h"

#include "tav/ui/cmd/tavArg.h"

#include <algorithm>

namespace TAV {

CmdParse::CmdParse(int argc, char** argv, TavLogger* logger)
    : m_last(std::max(argc, 0) - 1), m_argv(argv),
      m_programName(argc > 0 && argv[0] != nullptr ? argv[0] : ""), m_logger(logger) {}

void CmdParse::initArgs(std::list<tavArg*>& table) {
    if (table.empty()) return;
    const int forms = table.back()->showArgID();
    for (int form = 1; form <= forms; ++form) {
        while (iterate()) cmdSearch(getTag(), table, form);
        reset();
    }
}

void CmdParse::cmdSearch(char* token, std::list<tavArg*>& table, const int& form) {
    const std::string text(token);
    for (tavArg* arg : table) {
        if (arg->showArgID() != form || !arg->find(text)) continue;
        if (paramProc(arg) != tavArg::ARG_REJECTED) return;
    }
}

int CmdParse::paramProc(tavArg* arg) {
    return arg->proc(m_index, m_last, m_argv);
}

bool CmdParse::iterate() {
    return ++m_index <= m_last;
}

} // namespace TAV
