#include "tav/registry/tavzks.h"
#include "tav/ui/cmd/tavNames.h"
#include "tools/vornreg/Groups.h"
#include "tools/vornreg/Registry.h"
#include "tools/vornreg/Resources.h"

namespace vornreg {

namespace {

void unregister(const std::string& name) {
    const Standing standing = standingOf(name);
    if (standing == Standing::absent) throw Failure(Status::notThere, name + ": not registered");
    // From here on nobody counts it among the resources, whatever becomes of the rest.
    if (standing == Standing::registered)
        require(name, TAV::tavzksSetvalue(name, RES_IS_UNREGISTERING, "1"));
    require(name, TAV::tavzksRemove(name, TAV::TAVRESCUR));
    setPermissions(name, std::nullopt);
}

} // namespace

Status unregisterResources(const Call& call) {
    const Registry registry(Registry::Use::building);
    Status status = Status::done;
    for (const std::string& name : call.words) {
        try {
            unregister(name);
        } catch (const Failure& failure) {
            complain(failure.what());
            if (status == Status::done) status = failure.status();
        }
    }
    Registry::makeDurable();
    return status;
}

} // namespace vornreg
