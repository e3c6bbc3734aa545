#pragma once

#include "daemons/vornd/Registry.h"

#include <string>

namespace vornd {

/// Where daemons find each other: the connect string of each node's end-to-end endpoint, as text in
/// the registry. That it stands there tells that the node was up and that nobody has taken over for
/// it since.
[[nodiscard]] std::string peerEndpointKey(const std::string& node);

/// Makes the string this node's, whatever stood there.
void publishEndpoint(const Registry& registry, const std::string& node, const std::string& address);
/// Removes it if it is still this one.
void withdrawEndpoint(const Registry& registry, const std::string& node,
                      const std::string& address);

} // namespace vornd
