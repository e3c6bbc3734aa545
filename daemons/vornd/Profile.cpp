#include "daemons/vornd/Profile.h"

#include "daemons/vornd/DaemonLog.h"
#include "daemons/vornd/ResourceBuilder.h"
#include "tav/ui/cmd/tavNames.h"

namespace vornd {

namespace {

constexpr std::string_view BLANKS = " \t";
constexpr char COMMENT_MARK = '#';

std::string_view trimmed(std::string_view text) {
    const std::size_t first = text.find_first_not_of(BLANKS);
    if (first == std::string_view::npos) return {};
    return text.substr(first, text.find_last_not_of(BLANKS) - first + 1);
}

/// The reason why a line is refused, empty when it is not.
std::string takeLine(ResourceBuilder& builder, std::string_view line) {
    const std::string_view content = trimmed(line);
    if (content.empty() || content.front() == COMMENT_MARK) return {};
    if (line.find('\0') != std::string_view::npos) return "a zero byte";
    const std::size_t equals = line.find(TAV::ENTRY_SEPARATOR);
    if (equals == std::string_view::npos) return "no '=' in '" + printable(content) + "'";
    const std::string_view name = trimmed(line.substr(0, equals));
    if (name.empty()) return "no name before '='";
    return builder.take(name, line.substr(equals + 1));
}

/// Takes the next line off `text`, without its end.
std::string_view nextLine(std::string_view& text) {
    const std::size_t end = text.find('\n');
    std::string_view line = text.substr(0, end);
    text.remove_prefix(end == std::string_view::npos ? text.size() : end + 1);
    if (line.ends_with('\r')) line.remove_suffix(1);
    return line;
}

} // namespace

std::string ProfileFault::text() const {
    return line == 0 ? reason : "line " + std::to_string(line) + ": " + reason;
}

bool parseProfile(std::string_view text, Resource& resource, ProfileFault& fault) {
    ResourceBuilder builder(resource);
    for (std::size_t line = 1; !text.empty(); ++line) {
        fault = ProfileFault{line, takeLine(builder, nextLine(text))};
        if (!fault.reason.empty()) return false;
    }
    fault = ProfileFault{0, builder.finish()};
    return fault.reason.empty();
}

} // namespace vornd
