#include "tav/ui/cmd/tavList.h"

#include "tav/ui/cmd/tavNames.h"

#include <utility>

namespace TAV {

tavList::tavList(int id, arg_Status status, const std::string& key)
    : tavArg(id, key), m_listStatus(status) {}

tavList::tavList(int id, const std::string& key) : tavList(id, ARG_REQUIRED, key) {}

int tavList::proc(int& index, const int& /*last*/, char** argv) {
    take(argv[index]);
    return ARG_TAKEN;
}

void tavList::setArgList(std::list<std::string>& request) {
    if (m_listStatus != ARG_FOUND) return;
    std::string entry = m_key + ENTRY_SEPARATOR;
    bool first = true;
    for (const std::string& value : m_values) {
        if (!std::exchange(first, false)) entry += LIST_SEPARATOR;
        entry += value;
    }
    request.push_back(std::move(entry));
}

void tavList::take(const char* text) {
    removeWhiteSpace(text, m_values.emplace_back());
    m_listStatus = ARG_FOUND;
}

} // namespace TAV
