#include "tav/cluster/ClusterQuorum.h"

#include "platform/include/clock.h"
#include "tav/cluster/Cluster.h"
#include "tav/cluster/moduleLog.h"

#include <algorithm>
#include <ctime>

namespace TAV {

constinit cls_thrIMx quorump;
constinit int quorum_lost = 0;
constinit long quorum_gained = 0;

namespace {

long systemNow() {
    return std::time(nullptr);
}

/// The whole time, whatever signals come.
void systemSleep(long seconds) {
    constexpr std::uint64_t MILLISECOND = 1000; // in microseconds
    const std::uint64_t end =
        sltrgatime64() + static_cast<std::uint64_t>(std::max(seconds, 0L)) * 1000;
    for (std::uint64_t now = sltrgatime64(); now < end; now = sltrgatime64())
        sltrusleep((end - now) * MILLISECOND);
}

constinit QuorumClock s_clock{systemNow, systemSleep};

void keep(int lost, long when) {
    const StaticLock lock(quorump);
    quorum_lost = lost;
    quorum_gained = when;
}

/// How long to sleep before the next look; 0 when quorum has been held for `seconds`.
long nextSleep(long seconds) {
    const StaticLock lock(quorump);
    const long now = s_clock.now();
    const bool lost = quorum_lost == 1;
    if (!lost && now - seconds >= quorum_gained) return 0;
    // A pause of nothing, in the very second of the change, would spin.
    return std::max(lost ? seconds : now - quorum_gained, 1L);
}

} // namespace

void setQuorumClock(const QuorumClock& clock) {
    s_clock.now = clock.now != nullptr ? clock.now : systemNow;
    s_clock.sleep = clock.sleep != nullptr ? clock.sleep : systemSleep;
}

void Cluster::lostQuorum(long when) {
    logOut(clusterLog(), " lost quorum: ", when);
    keep(1, when);
}

void Cluster::gainedQuorum(long when) {
    logOut(clusterLog(), " gained quorum: ", when);
    keep(0, when);
}

void Cluster::sleepWithQuorum(int seconds) {
    long pause = seconds;
    bool held = false;
    while (!held) {
        logOut(clusterLog(), " sleep at ", s_clock.now(), " for ", pause);
        s_clock.sleep(pause);
        pause = nextSleep(seconds);
        held = pause == 0;
    }
}

} // namespace TAV
