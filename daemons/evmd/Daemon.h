#pragma once

#include "daemons/evmd/EventFile.h"
#include "daemons/evmd/Limits.h"
#include "daemons/evmd/Options.h"
#include "daemons/evmd/Server.h"
#include "daemons/evmd/Writer.h"

#include <optional>
#include <stdexcept>
#include <string>

namespace evmd {

/// Why the daemon cannot start: one line that says what to do about it.
class StartError : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

/// The event daemon of this node: events that programs post, kept in a file of records.
class Daemon {
public:
    /// Reads node.conf, takes the node's endpoint and then the event file; throws StartError.
    explicit Daemon(const Options& options, const Limits& limits = Limits());

    /// Serves from now on; throws StartError.
    void start();
    /// Stops taking posts; those that were taken are stored and answered first.
    void stop();

    [[nodiscard]] const std::string& node() const { return m_node; }

private:
    std::string m_node;
    // In this order, so that nobody uses what is not there any more.
    std::optional<EventFile> m_file;
    std::optional<Writer> m_writer;
    std::optional<Server> m_server;
};

} // namespace evmd
