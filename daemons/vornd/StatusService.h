#pragma once

#include "daemons/vornd/Caller.h"
#include "daemons/vornd/ResourceModel.h"
#include "daemons/vornd/StatusRequest.h"
#include "tav/comm/Container.h"

#include <functional>
#include <memory>
#include <optional>
#include <set>
#include <string>

namespace vornd {

/// Names of the configured nodes.
using Members = std::set<std::string, std::less<>>;

/// The reply to one status request, as far as the caller may know it. A pure function of its
/// arguments, whatever the request is: what is no status request is answered with
/// RESULT_NOT_UNDERSTOOD.
[[nodiscard]] std::unique_ptr<TAV::Container> answerStatus(const TAV::Message& request,
                                                           Caller& caller,
                                                           const ResourceModel& model,
                                                           const Members& members);
/// The same for a request that was read already; nothing is what is no status request.
[[nodiscard]] std::unique_ptr<TAV::Container>
answerStatus(const std::optional<StatusRequest>& request, Caller& caller,
             const ResourceModel& model, const Members& members);

/// Whether the caller may know of a resource's state and attributes.
[[nodiscard]] bool mayRead(const Resource& resource, Caller& caller);

} // namespace vornd
