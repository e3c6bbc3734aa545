#include "daemons/vornd/PeerEndpoint.h"

#include "tav/registry/tavzks.h"

namespace vornd {

std::string peerEndpointKey(const std::string& node) {
    return std::string(TAV::TavZKSKeys::CommE2EPort) + TAV::TAVRESSP + node;
}

void publishEndpoint(const Registry& registry, const std::string& node,
                     const std::string& address) {
    const std::string key = peerEndpointKey(node);
    if (registry.value(key) != address) registry.publish(key, address);
}

void withdrawEndpoint(const Registry& registry, const std::string& node,
                      const std::string& address) {
    const std::string key = peerEndpointKey(node);
    if (registry.value(key) == address) registry.remove(key);
}

} // namespace vornd
