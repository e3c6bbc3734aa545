#include "tav/ui/cmd/tavTrash.h"

namespace TAV {

tavTrash::tavTrash(int id, const std::string& key) : tavArg(id, key) {}

int tavTrash::proc(int& index, const int& /*last*/, char** argv) {
    if (m_status == ARG_OPTIONAL) m_status = ARG_INVALID;
    m_caught = argv[index];
    return ARG_TAKEN;
}

void tavTrash::setArgList(std::list<std::string>& request) {
    if (m_status == ARG_INVALID) request.push_back(m_key + m_caught);
}

} // namespace TAV
