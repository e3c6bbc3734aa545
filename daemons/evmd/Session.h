#pragma once

#include "daemons/evmd/Request.h"
#include "daemons/vornd/Thread.h"
#include "platform/include/nipc.h"

#include <atomic>
#include <cstdint>
#include <memory>

namespace evmd {

/// Gives back what the message layer made.
struct NipcRelease {
    template <class Object>
    void operator()(Object* object) const {
        nipcDestroyF(object);
    }
};
using ContextPointer = std::unique_ptr<nipcCtx, NipcRelease>;
using EndpointPointer = std::unique_ptr<nipcEndp, NipcRelease>;

/// One client and the thread that serves it.
struct Session {
    EndpointPointer endpoint;
    Peer peer;
    /// Since when the client has owed nothing and said nothing (sltrgatime64); 0 while it is busy.
    std::atomic<std::uint64_t> idleSince{0};

private:
    friend class Sessions;
    vornd::Thread thread;
    bool evicted = false; ///< its place was given to another client
};

} // namespace evmd
