#include "daemons/vornd/ResourceRecord.h"

#include "daemons/vornd/ResourceBuilder.h"
#include "daemons/vornd/StatusWords.h"
#include "tav/ui/cmd/tavNames.h"

#include <utility>

namespace vornd {

namespace {

void addValues(ResourceRecord& record, const std::string& name, const NodeValues& values) {
    for (const auto& [node, value] : values) {
        std::string entry = name;
        if (!node.empty()) entry.append(1, NODE_MARK).append(node);
        record[std::move(entry)] = value;
    }
}

} // namespace

ResourceRecord recordOf(const Resource& resource) {
    ResourceRecord record(resource.attributes.begin(), resource.attributes.end());
    record.erase(RES_ACL);
    addValues(record, RES_STATE, resource.states);
    addValues(record, RES_TARGET, resource.targets);
    addValues(record, RES_CURRENT_FAILURE, resource.failures);
    return record;
}

bool resourceOf(const ResourceRecord& record, std::string_view permissions, Resource& resource,
                ProfileFault& fault) {
    ResourceBuilder builder(resource);
    fault = ProfileFault();
    for (const auto& [name, value] : record) {
        // Whoever may write an attribute may not grant rights by it.
        if (name == RES_ACL) continue;
        fault.reason = builder.take(name, value);
        if (!fault.reason.empty()) return false;
    }
    if (!permissions.empty()) fault.reason = builder.take(RES_ACL, permissions);
    if (fault.reason.empty()) fault.reason = builder.finish();
    return fault.reason.empty();
}

} // namespace vornd
