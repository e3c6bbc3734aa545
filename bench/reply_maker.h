#pragma once

#include "tav/comm/Container.h"

#include <cstdio>
#include <memory>
#include <string>
#include <utility>

/// A status reply as the daemon sends it: seven messages a resource, its name in ascending order.
/// 20,000 resources come close to the largest frame.
inline TAV::Container makeReply(unsigned int resources) {
    TAV::Container reply;
    for (unsigned int i = 0; i < resources; ++i) {
        char name[32];
        std::snprintf(name, sizeof name, "app%06u.svc", i);
        auto resource = std::make_unique<TAV::Container>(name);
        TAV::Container state;
        state.SetProperty("alpha", i % 5 == 0 ? "OFFLINE" : "ONLINE");
        TAV::Container target;
        target.SetProperty("alpha", "ONLINE");
        resource->SetProperty("NAME", name);
        resource->SetMessage("STATE", state);
        resource->SetMessage("TARGET", target);
        resource->SetProperty("TYPE", "application");
        reply.adopt(name, std::move(resource));
    }
    return reply;
}
