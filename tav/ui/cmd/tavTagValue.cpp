#include "tav/ui/cmd/tavTagValue.h"

#include <utility>

namespace TAV {

tavTagValue::tavTagValue(int id, arg_Status tagStatus, arg_Status valueStatus,
                         const std::string& tag, const std::string& key)
    : tavArg(id, key), tavTag(id, tagStatus, tag, key), tavValue(id, valueStatus, key) {}

tavTagValue::tavTagValue(int id, arg_Status status, const std::string& tag, const std::string& key)
    : tavTagValue(id, status, status, tag, key) {}

int tavTagValue::proc(int& index, const int& last, char** argv) {
    if (m_tagStatus == ARG_FOUND) return ARG_REJECTED;
    m_tagStatus = ARG_FOUND;
    switch (m_valueStatus) {
    case ARG_REQUIRED:
        return procRequiredValue(index, last, argv);
    case ARG_OPTIONAL:
        return procOptionalValue(index, last, argv);
    case ARG_FOUND:
        return ARG_REJECTED;
    default:
        return ARG_TAKEN;
    }
}

int tavTagValue::procRequiredValue(int& index, const int& last, char** argv) {
    if (procKeyAndValue(index, last, argv) != ARG_TAKEN) return ARG_REJECTED;
    std::string value;
    removeWhiteSpace(argv[index], value);
    if (value.empty()) return ARG_REJECTED;
    m_value = std::move(value);
    m_valueStatus = ARG_FOUND;
    return ARG_TAKEN;
}

int tavTagValue::procOptionalValue(int& index, const int& last, char** argv) {
    if (procKeyOrValue(index, last, argv) != ARG_TAKEN) return ARG_TAKEN;
    removeWhiteSpace(argv[index], m_value);
    m_valueStatus = ARG_FOUND;
    return ARG_TAKEN;
}

arg_Status& tavTagValue::showStatus() {
    const bool missing = m_tagStatus == ARG_FOUND && m_valueStatus == ARG_REQUIRED;
    return missing ? m_valueStatus : m_tagStatus;
}

void tavTagValue::setArgList(std::list<std::string>& request) {
    tavTag::setArgList(request);
    tavValue::setArgList(request);
}

} // namespace TAV
