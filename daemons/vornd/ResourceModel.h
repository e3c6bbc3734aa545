#pragma once

#include "daemons/vornd/Acl.h"

#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace vornd {

/// Texts by node; the empty node stands for a value that belongs to no single node.
using NodeValues = std::map<std::string, std::string, std::less<>>;

/// One resource: its attributes (NAME, TYPE and ACL among them) and its states.
struct Resource {
    std::map<std::string, std::string, std::less<>> attributes;
    NodeValues states;
    NodeValues targets;
    NodeValues failures;
    /// Nothing when there is no list or it is not understood: administrators alone may read then.
    std::optional<Acl> acl;

    /// An attribute's text, empty when there is none.
    [[nodiscard]] const std::string& attribute(std::string_view name) const;
    [[nodiscard]] const std::string& name() const;
};

using ResourcePointer = std::shared_ptr<const Resource>;

/// All resources at one moment. Immutable and shared by the requests that are served from it.
class ResourceModel {
public:
    ResourceModel() = default;
    /// The resources in ascending byte order of names, each name once.
    explicit ResourceModel(std::vector<ResourcePointer> resources);

    /// Null when no resource has that name. Lives as long as the model.
    [[nodiscard]] const Resource* find(std::string_view name) const;
    [[nodiscard]] const std::vector<ResourcePointer>& resources() const { return m_resources; }

private:
    std::vector<ResourcePointer> m_resources;
};

using ModelPointer = std::shared_ptr<const ResourceModel>;

/// Where resources come from. Thread-safe.
class ResourceSource {
public:
    virtual ~ResourceSource() = default;
    /// The resources as they are now, as far as the source knows; never null.
    virtual ModelPointer snapshot() = 0;
    /// Looks for changes at once.
    virtual void refresh() = 0;
};

} // namespace vornd
