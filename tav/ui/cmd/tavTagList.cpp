#include "tav/ui/cmd/tavTagList.h"

#include "platform/include/paths.h"
#include "tav/ui/cmd/tavNames.h"

#include <string_view>

namespace TAV {

tavTagList::tavTagList(int id, arg_Status tagStatus, arg_Status listStatus, const std::string& tag,
                       const std::string& key)
    : tavArg(id, key), tavTag(id, tagStatus, tag, key), tavList(id, listStatus, key) {}

tavTagList::tavTagList(int id, arg_Status status, const std::string& tag, const std::string& key)
    : tavTagList(id, status, status, tag, key) {}

int tavTagList::proc(int& index, const int& last, char** argv) {
    m_tagStatus = ARG_FOUND;
    if (m_tag == STDIN_TAG) {
        takeStandardInput();
        return ARG_TAKEN;
    }
    if (m_listStatus == ARG_REQUIRED && procFirstValue(index, last, argv) != ARG_TAKEN)
        return ARG_REJECTED;
    takeFurtherValues(index, last, argv);
    return ARG_TAKEN;
}

int tavTagList::procFirstValue(int& index, const int& last, char** argv) {
    if (procKeyAndValue(index, last, argv) != ARG_TAKEN) return ARG_REJECTED;
    std::string value;
    removeWhiteSpace(argv[index], value);
    if (value.empty()) return ARG_REJECTED;
    take(value.c_str());
    return ARG_TAKEN;
}

void tavTagList::takeFurtherValues(int& index, const int& last, char** argv) {
    while (procKeyOrValue(index, last, argv) == ARG_TAKEN) take(argv[index]);
}

void tavTagList::takeStandardInput() {
    // The result of the read is not looked at: a failed one leaves the text empty.
    char buffer[STDIN_SIZE] = {};
    clsp_readStdin(buffer, STDIN_SIZE);
    std::string_view rest(buffer);
    while (!rest.empty()) {
        const std::string_view piece = rest.substr(0, rest.find(LIST_SEPARATOR));
        if (!piece.empty()) take(std::string(piece).c_str());
        rest.remove_prefix(piece.size() == rest.size() ? piece.size() : piece.size() + 1);
    }
    m_listStatus = ARG_FOUND;
}

arg_Status& tavTagList::showStatus() {
    const bool missing = m_tagStatus == ARG_FOUND && m_listStatus == ARG_REQUIRED;
    return missing ? m_listStatus : m_tagStatus;
}

void tavTagList::setArgList(std::list<std::string>& request) {
    tavTag::setArgList(request);
    tavList::setArgList(request);
}

} // namespace TAV
