#include "tav/ui/cmd/tavArg.h"

#include <string_view>

namespace TAV {

tavArg::tavArg(int id, const std::string& key) : m_id(id), m_key(key) {}

void tavArg::removeWhiteSpace(const char* text, std::string& out) {
    int start = 0;
    const int length = paramFilter(text, start);
    if (length < 1)
        out.clear();
    else
        out.assign(text + start, static_cast<std::size_t>(length));
}

int tavArg::paramFilter(const char* text, int& start) {
    const std::string_view all(text);
    const std::size_t first = all.find_first_not_of(' ');
    const auto length = static_cast<int>(all.size());
    if (first == std::string_view::npos) {
        start = length;
        return -length;
    }
    start = static_cast<int>(first);
    return static_cast<int>(all.find_last_not_of(' ')) + 1 - start;
}

int tavArg::procKeyAndValue(int& index, const int& last, char** argv) {
    if (index >= last) return ARG_REJECTED;
    ++index;
    return isOption(argv[index]) ? ARG_REJECTED : ARG_TAKEN;
}

int tavArg::procKeyOrValue(int& index, const int& last, char** argv) {
    if (index >= last || isOption(argv[index + 1])) return ARG_NO_VALUE;
    ++index;
    return ARG_TAKEN;
}

} // namespace TAV
