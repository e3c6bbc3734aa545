#pragma once

#include "daemons/vornd/Answers.h"
#include "daemons/vornd/Checks.h"
#include "daemons/vornd/ClusterView.h"
#include "daemons/vornd/DebugLevels.h"
#include "daemons/vornd/Keeper.h"
#include "daemons/vornd/Limits.h"
#include "daemons/vornd/Peers.h"
#include "daemons/vornd/RegistrySource.h"
#include "daemons/vornd/Server.h"
#include "daemons/vornd/StartError.h"

#include <memory>
#include <string>

namespace vornd {

/// The resource manager daemon of this node: it serves the resources of the cluster registry to the
/// status command, checks those that this node hosts, and does its part in the cluster.
class Daemon {
public:
    /// Reads node.conf and the registry, takes the node's endpoints and joins the cluster; throws
    /// StartError.
    explicit Daemon(const Limits& limits = Limits());

    /// Serves and checks from now on; throws StartError.
    void start();
    /// Reads the registry anew, at once.
    void refresh();
    /// Stops serving and checking; waits for the clients under way, within their grace.
    void stop();

    [[nodiscard]] const std::string& node() const { return m_node; }

private:
    std::string m_node;
    ClusterView m_view;
    Peers m_peers;
    Answers m_answers;
    DebugLevels m_levels;
    std::unique_ptr<Checks> m_checks;
    std::unique_ptr<RegistrySource> m_source;
    std::unique_ptr<Server> m_server;
    std::unique_ptr<Server> m_peerServer; ///< null when no other node is configured
    std::unique_ptr<Keeper> m_keeper;
};

} // namespace vornd
