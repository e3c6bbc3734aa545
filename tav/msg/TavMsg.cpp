#include "tav/msg/TavMsg.h"

#include <iostream>

namespace TAV {

TavMsg::TavMsg() : TavMsg(MSG_FILE_NAME) {}

TavMsg::TavMsg(const char* name) : TavMsg(name, MSG_SET) {}

TavMsg::TavMsg(const char* name, int set) : Messages(name, set, MSG_FILE_LOC) {}

TavMsg::~TavMsg() = default;

int TavMsg::getString(char* out, const int& number) const {
    return text(out, number, TAVMSG_UNKNOWN, 0);
}

int TavMsg::getStringnofmt(char* out, const int& number) const {
    return textnofmt(out, number, TAVMSG_UNKNOWN, 0);
}

void TavMsg::display(int where) const {
    std::ostream& stream = where == COUT_MSG ? std::cout : std::cerr;
    stream << m_text << std::endl;
}

void TavMsg::clear() {
    m_text.clear();
}

} // namespace TAV
