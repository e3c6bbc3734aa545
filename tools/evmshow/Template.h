#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace evmshow {

/// A piece of a user's template, and the line end or tab that follows it; empty for the last.
struct TemplatePart {
    std::string text;
    std::string_view control;
};

/// Cuts a template at its "\n" and "\t", so that the user's own line ends and tabs can be told from
/// those that an event brings along. No reference contains a backslash: none is cut apart.
std::vector<TemplatePart> splitTemplate(std::string_view text);

} // namespace evmshow
