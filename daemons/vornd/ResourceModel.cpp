#include "daemons/vornd/ResourceModel.h"

#include "tav/ui/cmd/tavNames.h"

#include <algorithm>

namespace vornd {

const std::string& Resource::attribute(std::string_view name) const {
    static const std::string none;
    const auto found = attributes.find(name);
    return found == attributes.end() ? none : found->second;
}

const std::string& Resource::name() const {
    return attribute(RES_NAME);
}

ResourceModel::ResourceModel(std::vector<ResourcePointer> resources)
    : m_resources(std::move(resources)) {}

const Resource* ResourceModel::find(std::string_view name) const {
    const auto found = std::lower_bound(m_resources.begin(), m_resources.end(), name,
                                        [](const ResourcePointer& resource, std::string_view key) {
                                            return resource->name() < key;
                                        });
    if (found == m_resources.end() || (*found)->name() != name) return nullptr;
    return found->get();
}

} // namespace vornd
