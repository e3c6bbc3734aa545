#pragma once

#include "daemons/vornd/Limits.h"
#include "daemons/vornd/ProfileSource.h"
#include "daemons/vornd/Server.h"
#include "daemons/vornd/StatusService.h"

#include <optional>
#include <stdexcept>
#include <string>

namespace vornd {

/// Why the daemon cannot start: one line that says what to do about it.
class StartError : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

/// The resource manager daemon of this node: resources from the installation's profiles, served to
/// the status command.
class Daemon {
public:
    /// Reads node.conf and the profiles and takes the node's endpoint; throws StartError.
    explicit Daemon(const Limits& limits = Limits());

    /// Serves from now on; throws StartError.
    void start();
    /// Looks for changed profiles at once.
    void refresh();
    /// Stops serving and waits for the clients under way, within their grace.
    void stop();

    [[nodiscard]] const std::string& node() const { return m_node; }

private:
    std::unique_ptr<TAV::Container> answer(const TAV::Message& request, const std::string& user);

    std::string m_node;
    Members m_members;
    std::unique_ptr<ResourceSource> m_source;
    std::unique_ptr<Server> m_server;
};

} // namespace vornd
