#pragma once

#include "daemons/vornd/ResourceModel.h"

#include <string>
#include <string_view>

namespace vornd {

/// Between the name of a value that belongs to one node and the node: "STATE@alpha".
inline constexpr char NODE_MARK = '@';

/// Fills a resource value by value, wherever they come from. Each step gives the reason of a
/// refusal, empty when there is none; after a refusal the resource is unspecified.
class ResourceBuilder {
public:
    /// Empties the resource, which outlives the builder.
    explicit ResourceBuilder(Resource& resource);

    /// One value: an attribute, or STATE, TARGET and CURRENT_FAILURE with or without a node.
    [[nodiscard]] std::string take(std::string_view name, std::string_view value);
    /// Checks the whole.
    [[nodiscard]] std::string finish();

private:
    NodeValues* valuesOf(std::string_view name);
    std::string takeForNode(std::string_view name, std::string_view node, std::string_view value);
    std::string takeAttribute(std::string_view name, std::string_view value);

    Resource& m_resource;
};

} // namespace vornd
