#pragma once

#include "platform/include/threads.h"

namespace TAV {

/// The record of quorum, changed by the thread that receives cluster events while others sit in
/// Cluster::sleepWithQuorum; read and written only under `quorump`.
extern cls_thrIMx quorump;
extern int quorum_lost;    ///< 1 while quorum is lost
extern long quorum_gained; ///< seconds since the epoch, as given with the last change

/// The time that Cluster::sleepWithQuorum lives in. Null members are the system's; a test puts its
/// own in place before any thread sleeps.
struct QuorumClock {
    long (*now)();
    void (*sleep)(long seconds);
};
void setQuorumClock(const QuorumClock& clock);

} // namespace TAV
