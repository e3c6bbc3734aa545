#include "daemons/vornd/Keeper.h"

#include "daemons/vornd/DaemonLog.h"
#include "daemons/vornd/Failover.h"
#include "daemons/vornd/PeerEndpoint.h"
#include "platform/include/node_config.h"
#include "tav/cluster/Cluster.h"

#include <exception>
#include <map>
#include <utility>

namespace vornd {

namespace {

/// Who is up, asked anew: what was told last may be out of date.
Members membersUp() {
    std::map<std::string, int> states;
    TAV::Cluster::getMembers(states);
    Members up;
    for (const auto& [node, state] : states)
        if (state != 0) up.insert(node);
    return up;
}

std::string firstLine(const std::string& text) {
    return printable(std::string_view(text).substr(0, text.find('\n')));
}

} // namespace

Keeper::Keeper(const node_config& config, std::string address, ClusterView& view, Peers& peers)
    : m_node(config.node_name), m_address(std::move(address)), m_view(view), m_peers(peers),
      m_membership(config) {}

Keeper::~Keeper() {
    stop();
}

bool Keeper::start() {
    if (const std::optional<Members> up = m_membership.wait(TICK)) takeMembers(*up);
    try {
        publish();
    } catch (const RegistryError& error) {
        complain(error.what());
    }
    return m_thread.start([this] { follow(); });
}

void Keeper::refresh() {
    m_again = true;
}

/// The thread's wait ends with the membership; at the latest with its tick.
void Keeper::stop() {
    if (m_stopping.exchange(true)) return;
    m_membership.release();
    m_thread.join();
    withdraw();
}

void Keeper::follow() {
    while (!m_stopping) {
        m_peers.endOverdue();
        if (m_again.exchange(false)) owe();
        if (m_owed) tryOwed();
        if (const std::optional<Members> up = m_membership.wait(TICK); up && !m_stopping)
            takeMembers(*up);
    }
}

/// What fails is tried again with the next tick.
void Keeper::tryOwed() {
    try {
        doOwed();
    } catch (const cls::Exception& error) {
        complain(firstLine(error.what()));
    } catch (const std::exception& error) {
        complain(error.what());
    }
}

void Keeper::takeMembers(const Members& up) {
    Members shown = up;
    shown.insert(m_node); // whatever became of the files that tell others of it
    m_view.take(shown);
    for (const std::string& node : m_view.configured()) {
        // A daemon that was exchanged meanwhile listens somewhere else.
        m_peers.forget(node);
        if (shown.contains(node) == m_up.contains(node)) continue;
        logLine("node ", node, shown.contains(node) ? " is up" : " is down");
        if (shown.contains(node)) {
            m_lost.erase(node);
        } else {
            m_lost.insert(node);
            m_peers.lost(node);
        }
    }
    m_up = std::move(shown);
    owe();
}

void Keeper::owe() {
    m_owed = true;
    m_published = false;
}

void Keeper::doOwed() {
    publish();
    const bool isMaster = TAV::Cluster::amMaster();
    if (isMaster) beMaster();
    m_cleaned = isMaster;
    m_owed = !m_published;
    if (!m_owed) complain("");
}

/// Under the lock of those who take over: one that found this node down, before it came up, may be
/// about to remove its endpoint.
void Keeper::publish() {
    if (m_published || m_address.empty()) {
        m_published = true;
        return;
    }
    const ClusterLock lock(TAV::Cluster::CLUSTER_FAILOVER_LOCK, LOCK_PATIENCE);
    if (!lock.isHeld())
        return complain("where this node is reached is not published: " + lock.reason());
    publishEndpoint(Registry(), m_node, m_address);
    m_published = true;
}

void Keeper::beMaster() {
    findDue();
    const Members lost = m_lost;
    for (const std::string& node : lost) takeOverFor(node);
    if (!m_cleaned && !m_stopping) Registry().clean();
}

/// Those that went down while nobody else was there to see it, or whose master died, too.
void Keeper::findDue() {
    for (const std::string& node : m_view.configured())
        if (!m_up.contains(node) && isFailoverDue(node)) m_lost.insert(node);
}

void Keeper::takeOverFor(const std::string& node) {
    const ClusterLock lock(TAV::Cluster::CLUSTER_FAILOVER_LOCK, LOCK_PATIENCE);
    if (!lock.isHeld())
        throw std::runtime_error("nobody took over for node " + node + ": " + lock.reason());
    if (membersUp().contains(node)) return;
    if (takeOver(node, [&] { return mayGoOn(node); }) != FailoverResult::stopped)
        m_lost.erase(node);
}

/// Taking over for many resources takes its time, in which other nodes may come and go, also the
/// very one.
bool Keeper::mayGoOn(const std::string& node) {
    const auto now = std::chrono::steady_clock::now();
    if (now >= m_nextLook && !m_stopping) {
        m_nextLook = now + LOOK_BETWEEN;
        m_peers.endOverdue();
        if (const std::optional<Members> up = m_membership.wait({})) takeMembers(*up);
    }
    return !m_stopping && !m_up.contains(node);
}

/// A successor that runs already publishes its own under the lock; one who takes over removes it.
void Keeper::withdraw() const {
    if (m_address.empty()) return;
    const ClusterLock lock(TAV::Cluster::CLUSTER_FAILOVER_LOCK, LOCK_PATIENCE);
    if (!lock.isHeld()) return;
    try {
        withdrawEndpoint(Registry(), m_node, m_address);
    } catch (const RegistryError& error) {
        logLine("where this node was reached is not removed: ", printable(error.what()));
    }
}

void Keeper::complain(const std::string& trouble) {
    if (std::exchange(m_trouble, trouble) != trouble && !trouble.empty())
        logLine(printable(trouble));
}

} // namespace vornd
