#include "daemons/vornd/Acl.h"
#include "daemons/vornd/ResourceBuilder.h"
#include "daemons/vornd/StatusWords.h"
#include "tav/cluster/Cluster.h"
#include "tav/registry/tavzks.h"
#include "tav/ui/cmd/tavNames.h"
#include "tools/vornreg/Groups.h"
#include "tools/vornreg/Registry.h"
#include "tools/vornreg/Resources.h"

#include <algorithm>
#include <iostream>
#include <span>

namespace vornreg {

namespace {

constexpr const char* STATES[] = {TAV_RUNNING, TAV_STOPPED, TAV_UNKNOWN};
constexpr const char* TARGETS[] = {TAV_RUNNING, TAV_STOPPED};

/// The name under which node.conf has the node.
std::string configuredNode(const std::string& node) {
    const std::string wanted = TAV::Cluster::ToShortAndLower(node);
    std::string known;
    for (const auto& [number, name] : configuration().nodes) {
        if (name == wanted) return name;
        known += (known.empty() ? "" : ", ") + name;
    }
    throw Failure(Status::failed, "'" + node + "' is no configured node; there are " + known);
}

void requireOneOf(const std::string& value, std::span<const char* const> values,
                  const char* attribute) {
    if (std::any_of(values.begin(), values.end(), [&](const char* one) { return value == one; }))
        return;
    std::string known;
    for (const char* const one : values) known += (known.empty() ? "" : ", ") + std::string(one);
    throw Failure(Status::usage, "'" + value + "' is no " + attribute + "; there are " + known);
}

Status setNodeValue(const Call& call, const char* attribute, std::span<const char* const> values) {
    const std::string& name = call.words[0];
    const std::string& value = call.words[1];
    requireOneOf(value, values, attribute);
    const std::string node = call.node.empty() ? "" : vornd::NODE_MARK + configuredNode(call.node);
    const Registry registry(Registry::Use::changing);
    requireRegistered(name);
    require(name, TAV::tavzksSetvalue(name, attribute + node, value));
    return Status::done;
}

/// Attributes that have a sub-command of their own, or none at all.
void requireSettable(const std::string& attribute) {
    const std::string word = attribute.substr(0, attribute.find(vornd::NODE_MARK));
    const auto refuse = [&](const std::string& text) {
        throw Failure(Status::usage, "set: " + word + ' ' + text);
    };
    if (word == RES_STATE) refuse("is set with vornreg state");
    if (word == RES_TARGET) refuse("is set with vornreg target");
    if (word == RES_ACL) refuse("is set with vornreg acl");
    if (word == RES_NAME || word == RES_IS_UNREGISTERING) refuse("cannot be set");
    if (word != attribute) configuredNode(attribute.substr(word.size() + 1));
}

/// Throws unless the list can stand in a profile; tells when nobody understands it.
void checkPermissions(const std::string& name, const std::string& permissions) {
    static_cast<void>(profileText(name, recordOf(name), permissions));
    if (!vornd::Acl::parse(permissions))
        complain(name + ": the ACL is not understood; administrators alone will read it");
}

} // namespace

Status setState(const Call& call) {
    return setNodeValue(call, RES_STATE, STATES);
}

Status setTarget(const Call& call) {
    return setNodeValue(call, RES_TARGET, TARGETS);
}

Status setAttribute(const Call& call) {
    const std::string& name = call.words[0];
    const std::string& attribute = call.words[1];
    requireSettable(attribute);
    const Registry registry(Registry::Use::changing);
    requireRegistered(name);
    vornd::ResourceRecord record = recordOf(name);
    record[attribute] = call.words[2];
    static_cast<void>(profileText(name, record, std::nullopt));
    require(name, TAV::tavzksSetvalue(name, attribute, call.words[2]));
    return Status::done;
}

Status accessControlList(const Call& call) {
    const std::string& name = call.words[0];
    const bool change = call.words.size() > 1;
    const Registry registry(change ? Registry::Use::changing : Registry::Use::reading);
    requireRegistered(name);
    if (!change) {
        const std::optional<std::string> permissions = permissionsOf(name);
        if (!permissions) throw Failure(Status::notThere, name + ": no access-control list");
        std::cout << *permissions << '\n';
        return Status::done;
    }
    const std::string& permissions = call.words[1];
    if (!permissions.empty()) checkPermissions(name, permissions);
    setPermissions(name, permissions.empty() ? std::nullopt : std::optional(permissions));
    return Status::done;
}

} // namespace vornreg
