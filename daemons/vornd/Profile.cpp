#include "daemons/vornd/Profile.h"

#include "daemons/vornd/DaemonLog.h"
#include "daemons/vornd/StatusWords.h"
#include "tav/ui/cmd/tavNames.h"

#include <algorithm>

namespace vornd {

namespace {

constexpr std::string_view BLANKS = " \t";
constexpr char NODE_MARK = '@';
constexpr char COMMENT_MARK = '#';

std::string_view trimmed(std::string_view text) {
    const std::size_t first = text.find_first_not_of(BLANKS);
    if (first == std::string_view::npos) return {};
    return text.substr(first, text.find_last_not_of(BLANKS) - first + 1);
}

std::string quoted(std::string_view text) {
    return "'" + printable(text) + "'";
}

bool isControl(char c) {
    return static_cast<unsigned char>(c) < ' ' || c == '\x7f';
}

bool isWordCharacter(char c) {
    return c > ' ' && c <= '~' && c != NODE_MARK;
}

/// Fills a resource line by line; each step gives the reason of a refusal, empty when there is
/// none.
class ProfileReader {
public:
    explicit ProfileReader(Resource& resource) : m_resource(resource) {}

    std::string takeLine(std::string_view line);
    std::string finish();

private:
    NodeValues* valuesOf(std::string_view name);
    std::string store(std::string_view name, std::string_view value);
    std::string storeForNode(std::string_view name, std::string_view node, std::string_view value);

    Resource& m_resource;
};

std::string ProfileReader::takeLine(std::string_view line) {
    const std::string_view content = trimmed(line);
    if (content.empty() || content.front() == COMMENT_MARK) return {};
    if (line.find('\0') != std::string_view::npos) return "a zero byte";
    const std::size_t equals = line.find(TAV::ENTRY_SEPARATOR);
    if (equals == std::string_view::npos) return "no '=' in " + quoted(content);
    const std::string_view name = trimmed(line.substr(0, equals));
    if (name.empty()) return "no name before '='";
    if (name.size() > MAX_ATTRIBUTE_NAME) return "the name " + quoted(name) + " is too long";
    return store(name, line.substr(equals + 1));
}

NodeValues* ProfileReader::valuesOf(std::string_view name) {
    if (name == RES_STATE) return &m_resource.states;
    if (name == RES_TARGET) return &m_resource.targets;
    return name == RES_CURRENT_FAILURE ? &m_resource.failures : nullptr;
}

std::string ProfileReader::store(std::string_view name, std::string_view value) {
    const std::size_t mark = name.find(NODE_MARK);
    const std::string_view word = name.substr(0, mark);
    if (mark != std::string_view::npos) {
        if (valuesOf(word) == nullptr)
            return quoted(word) + " is not kept for a node: only STATE, TARGET and CURRENT_FAILURE";
        if (mark + 1 == name.size()) return "no node after " + quoted(name);
        return storeForNode(name, name.substr(mark + 1), value);
    }
    if (valuesOf(word) != nullptr) return storeForNode(name, "", value);
    if (!std::all_of(word.begin(), word.end(), isWordCharacter))
        return "the name " + quoted(name) + " has a character that names cannot have";
    const bool isNew = m_resource.attributes.emplace(word, value).second;
    return isNew ? "" : quoted(name) + " is given twice";
}

std::string ProfileReader::storeForNode(std::string_view name, std::string_view node,
                                        std::string_view value) {
    if (!std::all_of(node.begin(), node.end(), isWordCharacter))
        return "the node in " + quoted(name) + " has a character that names cannot have";
    const std::string_view word = name.substr(0, name.find(NODE_MARK));
    const bool isNew = valuesOf(word)->emplace(node, value).second;
    return isNew ? "" : quoted(name) + " is given twice";
}

std::string ProfileReader::finish() {
    const std::string& name = m_resource.name();
    if (name.empty()) return "NAME is missing";
    if (m_resource.attribute(RES_TYPE).empty()) return "TYPE is missing";
    if (name.size() > MAX_RESOURCE_NAME) return "NAME is too long";
    if (std::any_of(name.begin(), name.end(), isControl)) return "NAME has a control character";
    if (name == REPLY_RESULT || name == REPLY_ERROR) return "NAME " + quoted(name) + " is reserved";
    m_resource.acl = Acl::parse(m_resource.attribute(RES_ACL));
    return {};
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
    resource = Resource();
    ProfileReader reader(resource);
    for (std::size_t line = 1; !text.empty(); ++line) {
        fault = ProfileFault{line, reader.takeLine(nextLine(text))};
        if (!fault.reason.empty()) return false;
    }
    fault = ProfileFault{0, reader.finish()};
    return fault.reason.empty();
}

} // namespace vornd
