#include "daemons/vornd/RestatedModel.h"

#include "tav/ui/cmd/tavNames.h"

#include <memory>
#include <utility>
#include <vector>

namespace vornd {

namespace {

ResourcePointer restated(const ResourcePointer& resource, const StateRule& rule) {
    std::shared_ptr<Resource> changed;
    for (const auto& [node, state] : resource->states) {
        const std::string* const other = rule(*resource, node);
        if (other == nullptr || *other == state) continue;
        if (changed == nullptr) changed = std::make_shared<Resource>(*resource);
        changed->states[node] = *other;
    }
    return changed == nullptr ? resource : changed;
}

} // namespace

ModelPointer restated(const ModelPointer& model, const StateRule& rule) {
    const std::vector<ResourcePointer>& given = model->resources();
    std::vector<ResourcePointer> changed;
    for (std::size_t i = 0; i < given.size(); ++i) {
        ResourcePointer resource = restated(given[i], rule);
        if (changed.empty()) {
            if (resource == given[i]) continue;
            changed = given;
        }
        changed[i] = std::move(resource);
    }
    return changed.empty() ? model : std::make_shared<const ResourceModel>(std::move(changed));
}

const std::string& unknownState() {
    static const std::string state = TAV_UNKNOWN;
    return state;
}

} // namespace vornd
