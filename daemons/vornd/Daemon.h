#pragma once

#include "daemons/vornd/Checks.h"
#include "daemons/vornd/DebugLevels.h"
#include "daemons/vornd/Limits.h"
#include "daemons/vornd/RegistrySource.h"
#include "daemons/vornd/ReplyCache.h"
#include "daemons/vornd/Server.h"
#include "daemons/vornd/StatusService.h"

#include <memory>
#include <stdexcept>
#include <string>

namespace vornd {

/// Why the daemon cannot start: one line that says what to do about it.
class StartError : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

/// The resource manager daemon of this node: it serves the resources of the cluster registry to the
/// status command, and checks those that this node hosts.
class Daemon {
public:
    /// Reads node.conf and the registry and takes the node's endpoint; throws StartError.
    explicit Daemon(const Limits& limits = Limits());

    /// Serves and checks from now on; throws StartError.
    void start();
    /// Reads the registry anew, at once.
    void refresh();
    /// Stops serving and checking; waits for the clients under way, within their grace.
    void stop();

    [[nodiscard]] const std::string& node() const { return m_node; }

private:
    FramePointer answer(const TAV::Message& request, const std::string& user);

    std::string m_node;
    Members m_members;
    DebugLevels m_levels;
    std::unique_ptr<Checks> m_checks;
    std::unique_ptr<RegistrySource> m_source;
    ReplyCache m_replies;
    std::unique_ptr<Server> m_server;
};

} // namespace vornd
