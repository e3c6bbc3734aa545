#include "tools/evmshow/Template.h"

#include <algorithm>

namespace evmshow {

namespace {

std::string_view controlOf(std::string_view escape) {
    if (escape == "\\n") return "\n";
    return escape == "\\t" ? "\t" : std::string_view();
}

} // namespace

std::vector<TemplatePart> splitTemplate(std::string_view text) {
    std::vector<TemplatePart> parts(1);
    while (!text.empty()) {
        const std::size_t length = text.front() == '\\' ? std::min<std::size_t>(2, text.size()) : 1;
        const std::string_view taken = text.substr(0, length);
        text.remove_prefix(length);
        const std::string_view control = controlOf(taken);
        if (control.empty()) {
            parts.back().text += taken;
        } else {
            parts.back().control = control;
            parts.emplace_back();
        }
    }
    return parts;
}

} // namespace evmshow
