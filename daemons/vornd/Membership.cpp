#include "daemons/vornd/Membership.h"

#include "daemons/vornd/DaemonLog.h"
#include "daemons/vornd/StartError.h"
#include "platform/include/node_config.h"
#include "tav/cluster/tavcls.h"

#include <thread>

namespace vornd {

namespace {

/// Between two attempts to get a lock that somebody has for a moment.
constexpr std::chrono::milliseconds LOCK_PAUSE{20};

/// Who has the number, of a reason that ends with it.
std::string holderIn(const std::string& why) {
    const std::size_t colon = why.find(": ");
    return printable(colon == std::string::npos ? why : why.substr(colon + 2));
}

clsssctx* clusterService(const node_config& config) {
    switch (const int status = TAV::tavclsinitctx()) {
    case 0:
        return TAV::tavclsgetctx();
    case CLSS_GONE:
        throw StartError("the cluster is shut down: " + printable(config.cluster_dir) + "/" +
                         CLSS_DOWN_FILE + " stands there; remove it first");
    default:
        throw StartError("the cluster's service in cluster_dir " + printable(config.cluster_dir) +
                         " cannot be used (status " + std::to_string(status) + ")");
    }
}

StartError noMember(const node_config& config, int status, const std::string& why) {
    if (status != CLSS_BUSY)
        return StartError("cannot join the cluster: " + printable(why) +
                          "; make cluster_dir usable or set another one in node.conf");
    return StartError("node number " + std::to_string(config.node_number) +
                      " is taken by another vornd (" + holderIn(why) +
                      "); stop it or set another number in node.conf");
}

const unsigned char* lockName(const std::string& name) {
    return reinterpret_cast<const unsigned char*>(name.c_str());
}

} // namespace

Membership::Membership(const node_config& config) : m_config(config) {
    clsssctx* const service = clusterService(config);
    clss_member* member = nullptr;
    std::string why;
    const int status = clss_member_hold(service, &member, &why);
    m_member.reset(member);
    if (status != CLSS_OK) throw noMember(config, status, why);
    clss_watch* watch = nullptr;
    if (clss_watch_open(service, &watch) != CLSS_OK)
        throw StartError("the cluster's members cannot be watched");
    m_watch.reset(watch);
}

Membership::~Membership() = default;

std::optional<Members> Membership::wait(std::chrono::milliseconds time) {
    clssgsmap map{};
    if (clss_watch_wait(m_watch.get(), &map, static_cast<int>(time.count())) != CLSS_OK)
        return std::nullopt;
    Members up;
    for (const auto& [number, name] : m_config.nodes)
        if (map.grpbits_clssgsmap.test(number)) up.insert(name);
    return up;
}

void Membership::release() {
    m_member.reset();
}

ClusterLock::ClusterLock(const char* name, std::chrono::milliseconds patience) : m_name(name) {
    const auto end = std::chrono::steady_clock::now() + patience;
    while (true) {
        clssls_handle handle{};
        m_status = clsslstrylock(&handle, TAV::tavclsgetctx(), lockName(m_name), CLSSLS_TRY);
        if (m_status != CLSS_BUSY || std::chrono::steady_clock::now() >= end) return;
        std::this_thread::sleep_for(LOCK_PAUSE);
    }
}

ClusterLock::~ClusterLock() {
    if (isHeld()) clsslsunlock(TAV::tavclsgetctx(), lockName(m_name));
}

std::string ClusterLock::reason() const {
    return m_status == CLSS_BUSY ? "another node holds " + m_name
                                 : m_name + " cannot be locked, status " + std::to_string(m_status);
}

} // namespace vornd
