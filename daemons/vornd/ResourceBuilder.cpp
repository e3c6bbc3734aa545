#include "daemons/vornd/ResourceBuilder.h"

#include "daemons/vornd/DaemonLog.h"
#include "daemons/vornd/Profile.h"
#include "daemons/vornd/StatusWords.h"
#include "tav/ui/cmd/tavNames.h"

#include <algorithm>

namespace vornd {

namespace {

std::string quoted(std::string_view text) {
    return "'" + printable(text) + "'";
}

bool isControl(char c) {
    return static_cast<unsigned char>(c) < ' ' || c == '\x7f';
}

/// Names are components of registry keys, so the separator of keys is none of their characters.
bool isWordCharacter(char c) {
    return c > ' ' && c <= '~' && c != NODE_MARK && c != *TAVRESSP && c != TAV::ENTRY_SEPARATOR;
}

} // namespace

ResourceBuilder::ResourceBuilder(Resource& resource) : m_resource(resource) {
    m_resource = Resource();
}

NodeValues* ResourceBuilder::valuesOf(std::string_view name) {
    if (name == RES_STATE) return &m_resource.states;
    if (name == RES_TARGET) return &m_resource.targets;
    return name == RES_CURRENT_FAILURE ? &m_resource.failures : nullptr;
}

std::string ResourceBuilder::take(std::string_view name, std::string_view value) {
    if (value.find('\0') != std::string_view::npos) return "a zero byte in " + quoted(name);
    if (name.empty()) return "a value without a name";
    if (name.size() > MAX_ATTRIBUTE_NAME) return "the name " + quoted(name) + " is too long";
    const std::size_t mark = name.find(NODE_MARK);
    const std::string_view word = name.substr(0, mark);
    if (mark == std::string_view::npos)
        return valuesOf(word) == nullptr ? takeAttribute(name, value)
                                         : takeForNode(name, "", value);
    if (valuesOf(word) == nullptr)
        return quoted(word) + " is not kept for a node: only STATE, TARGET and CURRENT_FAILURE";
    if (mark + 1 == name.size()) return "no node after " + quoted(name);
    return takeForNode(name, name.substr(mark + 1), value);
}

std::string ResourceBuilder::takeAttribute(std::string_view name, std::string_view value) {
    if (!std::all_of(name.begin(), name.end(), isWordCharacter))
        return "the name " + quoted(name) + " has a character that names cannot have";
    const bool isNew = m_resource.attributes.emplace(name, value).second;
    return isNew ? "" : quoted(name) + " is given twice";
}

std::string ResourceBuilder::takeForNode(std::string_view name, std::string_view node,
                                         std::string_view value) {
    if (!std::all_of(node.begin(), node.end(), isWordCharacter))
        return "the node in " + quoted(name) + " has a character that names cannot have";
    const std::string_view word = name.substr(0, name.find(NODE_MARK));
    const bool isNew = valuesOf(word)->emplace(node, value).second;
    return isNew ? "" : quoted(name) + " is given twice";
}

std::string ResourceBuilder::finish() {
    const std::string& name = m_resource.name();
    if (name.empty()) return "NAME is missing";
    if (m_resource.attribute(RES_TYPE).empty()) return "TYPE is missing";
    if (name.size() > MAX_RESOURCE_NAME) return "NAME is too long";
    if (std::any_of(name.begin(), name.end(), isControl)) return "NAME has a control character";
    if (name == REPLY_RESULT || name == REPLY_ERROR) return "NAME " + quoted(name) + " is reserved";
    m_resource.acl = Acl::parse(m_resource.attribute(RES_ACL));
    return {};
}

} // namespace vornd
