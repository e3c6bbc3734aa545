#pragma once

#include "daemons/vornd/ResourceModel.h"
#include "daemons/vornd/ResourceRecord.h"

#include <functional>
#include <map>
#include <set>
#include <string>
#include <vector>

namespace vornd {

/// The component of registry keys under which a resource lies: its name, each "." as "!".
[[nodiscard]] std::string componentOf(std::string name);

/// The resources of the registry by their component, each in its last good version.
///
/// A record that is no sound resource is told when it comes up and what was good before stays.
/// Used by one thread at a time.
class ResourceTable {
public:
    /// `report` receives one line for each refusal, when it comes up.
    explicit ResourceTable(std::function<void(const std::string&)> report);

    /// What lies under the component now. A resource that is not complete (NAME, TYPE and
    /// AUTO_START) or that is being unregistered is none.
    void put(const std::string& component, const ResourceRecord& record,
             const std::string& permissions);
    /// What lies there cannot be read.
    void refuse(const std::string& component, const std::string& reason);
    void drop(const std::string& component);
    /// Drops all others.
    void keepOnly(const std::set<std::string>& components);

    /// The resources in ascending order of names.
    [[nodiscard]] std::vector<ResourcePointer> resources() const;

private:
    struct Entry {
        ResourcePointer resource; ///< the last good version; null when there was none
        std::string fault;        ///< why the present version is refused, empty when it is not
    };
    void accept(Entry& entry, ResourcePointer resource);

    std::function<void(const std::string&)> m_report;
    std::map<std::string, Entry> m_entries;
};

} // namespace vornd
