#include "daemons/vornd/Failover.h"

#include "daemons/vornd/DaemonLog.h"
#include "daemons/vornd/PeerEndpoint.h"
#include "daemons/vornd/Registry.h"
#include "daemons/vornd/ResourceBuilder.h"
#include "daemons/vornd/RestatedModel.h"
#include "tav/ui/cmd/tavNames.h"

namespace vornd {

namespace {

/// True when the resource had another state on the node.
bool makeUnknown(const Registry& registry, const std::string& component, const std::string& node) {
    const std::string key =
        std::string(TAVRESCUR) + TAVRESSP + component + TAVRESSP + RES_STATE + NODE_MARK + node;
    try {
        const std::optional<std::string> state = registry.value(key);
        return state && *state != unknownState() && registry.replace(key, unknownState());
    } catch (const RegistryError& error) {
        // One damaged value keeps nobody from the others, and is no state.
        if (error.status() != PRZKS_IO) throw;
        return false;
    }
}

} // namespace

FailoverResult takeOver(const std::string& node, const std::function<bool()>& mayGoOn) {
    const Registry registry(PRZKS_INIT_BULK);
    unsigned changed = 0;
    for (const std::string& component : registry.subkeys(TAVRESCUR)) {
        if (!mayGoOn()) return FailoverResult::stopped;
        if (makeUnknown(registry, component, node)) ++changed;
    }
    const bool wasPublished = registry.value(peerEndpointKey(node)).has_value();
    if (changed == 0 && !wasPublished) return FailoverResult::nothingToDo;
    registry.sync();
    // Last: as long as it stands there the rest may be missing.
    registry.remove(peerEndpointKey(node));
    registry.sync();
    logLine("took over for node ", node, ": ", changed, " states are UNKNOWN now");
    return FailoverResult::done;
}

bool isFailoverDue(const std::string& node) {
    return Registry().value(peerEndpointKey(node)).has_value();
}

} // namespace vornd
