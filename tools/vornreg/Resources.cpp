#include "tools/vornreg/Resources.h"

#include "platform/include/registry.h"
#include "tav/registry/tavzks.h"
#include "tav/ui/cmd/tavNames.h"
#include "tools/vornreg/Failure.h"

#include <algorithm>

namespace vornreg {

namespace {

bool keyExists(const std::string& what, const std::string& key) {
    const int rc = TAV::tavzksCheckKey(key.c_str());
    if (rc != PRZKS_OK && rc != PRZKS_NOTFOUND) throw registryFailure(what, rc);
    return rc == PRZKS_OK;
}

std::string line(const std::string& name, const std::string& value) {
    return name + TAV::ENTRY_SEPARATOR + value + '\n';
}

} // namespace

std::string keyOf(const std::string& area, const std::string& name) {
    std::string translated = name;
    TAV::tavzksResTrans(translated, TAV::TAVRESSP, TAV::TAVRESEXC);
    return area + TAV::TAVRESSP + translated;
}

void writeKey(const std::string& what, const std::string& key, const std::string& text) {
    const auto length = static_cast<unsigned>(text.size() + 1);
    require(what, TAV::tavzksWrite(key.c_str(), text.c_str(), length));
}

std::string faultOfName(const std::string& name) {
    if (name.empty()) return "a name cannot be empty";
    if (name.find(TAV::TAVRESEXC) != std::string::npos) return "a name cannot have a '!'";
    return {};
}

Standing standingOf(const std::string& name) {
    if (!faultOfName(name).empty()) return Standing::absent;
    const std::string key = keyOf(TAV::TAVRESCUR, name);
    if (!keyExists(name, key)) return Standing::absent;
    const bool marked = keyExists(name, key + TAV::TAVRESSP + RES_IS_UNREGISTERING);
    return marked ? Standing::leaving : Standing::registered;
}

void requireRegistered(const std::string& name) {
    if (standingOf(name) != Standing::registered)
        throw Failure(Status::notThere, name + ": not registered");
}

std::vector<std::string> registeredNames() {
    std::vector<std::string> names;
    std::string name;
    przks_key* area = nullptr;
    int count = 0;
    int rc = PRZKS_OK;
    while ((rc = TAV::tavzksGetres(name, &area, count, TAV::TAVZKS_CURRENT)) == PRZKS_OK)
        names.push_back(name);
    if (rc != PRZKS_NOMORE) throw registryFailure("the registered resources", rc);
    std::sort(names.begin(), names.end());
    return names;
}

vornd::ResourceRecord recordOf(const std::string& name) {
    vornd::ResourceRecord record;
    // The access layer says no more than that it failed; the client's text says why.
    if (TAV::tavzksGetValues(name, record) != 0) throw registryFailure(name, PRZKS_IO);
    return record;
}

std::optional<std::string> permissionsOf(const std::string& name) {
    if (!keyExists(name, keyOf(TAV::TAVRESSEC, name))) return std::nullopt;
    std::string permissions;
    require(name, TAV::tavzksGetPerm(name, permissions));
    return permissions;
}

void setPermissions(const std::string& name, const std::optional<std::string>& permissions) {
    const std::string key = keyOf(TAV::TAVRESSEC, name);
    if (permissions)
        writeKey(name, key, *permissions);
    else if (keyExists(name, key))
        require(name, TAV::tavzksRemove(name, TAV::TAVRESSEC));
}

std::string profileText(const std::string& name, const vornd::ResourceRecord& record,
                        const std::optional<std::string>& permissions) {
    std::string first;
    std::string others;
    for (const auto& [attribute, value] : record)
        if (attribute == RES_NAME)
            first.insert(0, line(attribute, value));
        else if (attribute == RES_TYPE)
            first += line(attribute, value);
        else
            others += line(attribute, value);
    std::string text = first + others + (permissions ? line(RES_ACL, *permissions) : "");
    vornd::Resource resource;
    vornd::ProfileFault fault;
    if (!vornd::parseProfile(text, resource, fault))
        throw Failure(Status::failed, name + ": no sound resource: " + fault.reason);
    const bool same = vornd::recordOf(resource) == record &&
                      resource.attribute(RES_ACL) == permissions.value_or("");
    if (!same || resource.name() != name)
        throw Failure(Status::failed, name + ": a profile cannot say what it holds");
    return text;
}

} // namespace vornreg
