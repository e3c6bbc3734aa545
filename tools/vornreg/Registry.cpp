#include "tools/vornreg/Registry.h"

#include "platform/include/registry.h"
#include "tav/registry/tavzks.h"
#include "tools/vornreg/Failure.h"

namespace vornreg {

namespace {

int openAt(unsigned level, Registry::Use use, std::string& reason) {
    przks_init_arg arg;
    if (use == Registry::Use::building) arg.flags = PRZKS_INIT_BULK;
    // Whatever its level, it is the context that the layer's operations use.
    constexpr bool asDefault = true;
    return TAV::tavzksinitctx(level, &reason, &arg, asDefault);
}

} // namespace

const node_config& configuration() {
    node_config_error error;
    const node_config* const config = node_config_get(&error);
    if (config == nullptr) throw Failure(Status::unavailable, error.text());
    return *config;
}

Registry::Registry(Use use) {
    const std::string& place = configuration().cluster_registry;
    std::string reason;
    int rc = openAt(PRZKS_DEFAULT, use, reason);
    if (rc == PRZKS_DEFAULT_LOST && use == Use::reading) rc = openAt(PRZKS_REBOOT, use, reason);
    if (rc == PRZKS_NOSTORE)
        throw Failure(Status::unavailable,
                      "no cluster registry at " + place + "; 'vornreg init' makes it");
    if (rc != PRZKS_OK) throw Failure(statusOf(rc), reason);
}

Registry::~Registry() {
    TAV::tavzksTerm();
}

void Registry::makeDurable() {
    require("cluster registry", przks_sync(TAV::tavzksgetctx()));
}

} // namespace vornreg
