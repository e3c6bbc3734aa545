#include "tav/ui/cmd/tavValue.h"

#include "tav/ui/cmd/tavNames.h"

#include <utility>

namespace TAV {

tavValue::tavValue(int id, arg_Status status, const std::string& key)
    : tavArg(id, key), m_valueStatus(status) {}

tavValue::tavValue(int id, const std::string& key) : tavValue(id, ARG_REQUIRED, key) {}

int tavValue::proc(int& index, const int& /*last*/, char** argv) {
    if (m_valueStatus == ARG_FOUND) return ARG_REJECTED;
    std::string value;
    removeWhiteSpace(argv[index], value);
    if (m_valueStatus == ARG_REQUIRED && value.empty()) return ARG_REJECTED;
    m_value = std::move(value);
    m_valueStatus = ARG_FOUND;
    return ARG_TAKEN;
}

void tavValue::setArgList(std::list<std::string>& request) {
    if (m_valueStatus == ARG_FOUND) request.push_back(m_key + ENTRY_SEPARATOR + m_value);
}

} // namespace TAV
