#include "tav/ui/cmd/tavTag.h"

#include "tav/ui/cmd/tavNames.h"

namespace TAV {

tavTag::tavTag(int id, arg_Status status, const std::string& tag, const std::string& key)
    : tavArg(id, key), m_tag(tag), m_tagStatus(status) {}

tavTag::tavTag(int id, const std::string& tag, const std::string& key)
    : tavTag(id, ARG_REQUIRED, tag, key) {}

int tavTag::proc(int& /*index*/, const int& /*last*/, char** /*argv*/) {
    m_tagStatus = ARG_FOUND;
    return ARG_TAKEN;
}

void tavTag::setArgList(std::list<std::string>& request) {
    request.push_back(m_key + tav_TAG + ENTRY_SEPARATOR + appeared());
}

std::string& tavTag::showArgValue() {
    m_shown = appeared();
    return m_shown;
}

const char* tavTag::appeared() const {
    return m_tagStatus == ARG_FOUND ? ARG_TRUE : ARG_FALSE;
}

} // namespace TAV
