#pragma once

#include "daemons/vornd/ClusterView.h"
#include "daemons/vornd/Membership.h"
#include "daemons/vornd/Peers.h"
#include "daemons/vornd/Thread.h"

#include <atomic>
#include <chrono>
#include <string>

namespace vornd {

/// This node's part in the cluster: it follows who is up, tells those who depend on it, and keeps
/// in the registry where this node is reached. As the master, the member with the lowest number, it
/// also takes over for nodes that go down and cleans the registry. A thread of its own does that.
class Keeper {
public:
    /// Joins the cluster; throws StartError. `address` is this node's end-to-end endpoint, empty
    /// when there is none. The others outlive the keeper.
    Keeper(const node_config& config, std::string address, ClusterView& view, Peers& peers);
    ~Keeper();
    Keeper(const Keeper&) = delete;
    Keeper& operator=(const Keeper&) = delete;

    /// Learns who is up and tries to publish the endpoint, then follows on its thread; false when
    /// none can be started.
    bool start();
    /// Looks with the next tick whether everything is as it should be. Thread-safe.
    void refresh();
    /// Withdraws the endpoint and leaves the cluster. May be called twice.
    void stop();

    /// Between two looks at what is left to do, and at exchanges with peers that take too long.
    static constexpr std::chrono::milliseconds TICK{1'000};
    /// For a take-over under way on another node, before this one goes on without its endpoint
    /// published; that is tried again with the next tick.
    static constexpr std::chrono::milliseconds LOCK_PATIENCE{1'000};
    /// Between two looks at the members while it takes over.
    static constexpr std::chrono::milliseconds LOOK_BETWEEN{100};

private:
    void follow();
    void tryOwed();
    void owe();
    void takeMembers(const Members& up);
    void doOwed();
    void publish();
    void beMaster();
    void findDue();
    void takeOverFor(const std::string& node);
    bool mayGoOn(const std::string& node);
    void withdraw() const;
    void complain(const std::string& trouble);

    const std::string m_node;
    const std::string m_address;
    ClusterView& m_view;
    Peers& m_peers;
    Membership m_membership;
    Thread m_thread;
    std::atomic<bool> m_stopping{false};
    std::atomic<bool> m_again{false};

    // The thread's own once it runs.
    Members m_up;
    Members m_lost; ///< went down since this daemon started; whether somebody took over for
                    ///< them is not known
    std::chrono::steady_clock::time_point m_nextLook; ///< while it takes over
    bool m_owed = true;       ///< something is left to do, which may have failed
    bool m_cleaned = false;   ///< as this master
    bool m_published = false; ///< the endpoint, since the members changed last
    std::string m_trouble;    ///< as logged; empty when there is none
};

} // namespace vornd
