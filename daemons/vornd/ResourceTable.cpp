#include "daemons/vornd/ResourceTable.h"

#include "daemons/vornd/DaemonLog.h"
#include "tav/ui/cmd/tavNames.h"

#include <algorithm>
#include <utility>

namespace vornd {

namespace {

/// As the registry layer's own walk over resources has it.
bool isResource(const ResourceRecord& record) {
    return record.contains(RES_NAME) && record.contains(RES_TYPE) &&
           record.contains(RES_AUTO_START) && !record.contains(RES_IS_UNREGISTERING);
}

} // namespace

std::string componentOf(std::string name) {
    std::replace(name.begin(), name.end(), *TAVRESSP, *TAVRESEXC);
    return name;
}

ResourceTable::ResourceTable(std::function<void(const std::string&)> report)
    : m_report(std::move(report)) {}

void ResourceTable::put(const std::string& component, const ResourceRecord& record,
                        const std::string& permissions) {
    if (!isResource(record)) return drop(component);
    auto resource = std::make_shared<Resource>();
    ProfileFault fault;
    if (!resourceOf(record, permissions, *resource, fault)) return refuse(component, fault.text());
    if (componentOf(resource->name()) != component)
        return refuse(component, "its NAME is that of another one");
    accept(m_entries[component], std::move(resource));
}

void ResourceTable::accept(Entry& entry, ResourcePointer resource) {
    const std::string& acl = resource->attribute(RES_ACL);
    const bool isNews = entry.resource == nullptr || entry.resource->attribute(RES_ACL) != acl;
    if (isNews && !acl.empty() && !resource->acl)
        m_report("resource " + printable(resource->name()) +
                 ": its permissions are not understood: administrators only");
    entry.fault.clear();
    entry.resource = std::move(resource);
}

void ResourceTable::refuse(const std::string& component, const std::string& reason) {
    Entry& entry = m_entries[component];
    if (std::exchange(entry.fault, reason) == reason) return;
    m_report("resource key " + printable(component) + ": " + printable(reason) +
             (entry.resource == nullptr ? "" : " (its previous version stays)"));
}

void ResourceTable::drop(const std::string& component) {
    m_entries.erase(component);
}

void ResourceTable::keepOnly(const std::set<std::string>& components) {
    std::erase_if(m_entries, [&](const auto& entry) { return !components.contains(entry.first); });
}

std::vector<ResourcePointer> ResourceTable::resources() const {
    std::vector<ResourcePointer> all;
    all.reserve(m_entries.size());
    for (const auto& [component, entry] : m_entries)
        if (entry.resource != nullptr) all.push_back(entry.resource);
    const auto byName = [](const ResourcePointer& a, const ResourcePointer& b) {
        return a->name() < b->name();
    };
    // Components differ from names in the separator alone, so this is nearly sorted.
    if (!std::is_sorted(all.begin(), all.end(), byName)) std::sort(all.begin(), all.end(), byName);
    return all;
}

} // namespace vornd
