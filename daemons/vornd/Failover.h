#pragma once

#include <functional>
#include <string>

namespace vornd {

/// Does for a node that went down what it cannot do any more: UNKNOWN becomes the state of whatever
/// the registry says to be on it, then its endpoint is removed.
///
/// The caller holds the cluster's failover lock and knows under it that the node is down. Whatever
/// is done already is not done again: one that dies in the middle leaves the endpoint, and the next
/// one does the rest. Stops early when `mayGoOn` says no. Throws RegistryError.
enum class FailoverResult { nothingToDo, done, stopped };
FailoverResult takeOver(const std::string& node, const std::function<bool()>& mayGoOn);

/// Whether the registry tells that the node was up and nobody has taken over for it since.
[[nodiscard]] bool isFailoverDue(const std::string& node);

} // namespace vornd
