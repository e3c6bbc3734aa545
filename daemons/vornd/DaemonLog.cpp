#include "daemons/vornd/DaemonLog.h"

#include <algorithm>
#include <system_error>

namespace vornd {

CLS_Debug::CLSlog& daemonLog() {
    static CLS_Debug::CLSlog log("VORND");
    return log;
}

std::string printable(std::string_view text) {
    std::string shown(text.substr(0, PRINTABLE_MAX));
    std::replace_if(
        shown.begin(), shown.end(),
        [](char c) { return static_cast<unsigned char>(c) < ' ' || c == '\x7f'; }, '?');
    return shown;
}

std::string systemError(int number) {
    return std::generic_category().message(number);
}

} // namespace vornd
