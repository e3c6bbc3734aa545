#pragma once

#include "daemons/vornd/Profile.h"
#include "daemons/vornd/ResourceModel.h"

#include <map>
#include <string>
#include <string_view>

namespace vornd {

/// A resource as the registry keeps it: the text of each attribute by name, where a value that
/// belongs to one node is named "STATE@node". The access-control list is not among them: it lives
/// in the permissions area.
using ResourceRecord = std::map<std::string, std::string>;

[[nodiscard]] ResourceRecord recordOf(const Resource& resource);

/// The resource that a record and its permissions text make. Pure; true with `resource` filled, or
/// false with `fault` filled (without a line) when the record is no sound resource: NAME and TYPE
/// are needed. An ACL among the record's values is passed over.
[[nodiscard]] bool resourceOf(const ResourceRecord& record, std::string_view permissions,
                              Resource& resource, ProfileFault& fault);

} // namespace vornd
