#pragma once

#include "tav/ui/cmd/Cmds.h"

#include <memory>
#include <string>
#include <utility>
#include <vector>

namespace TAV {

class Container;
class Message;

/// The base of commands that talk to a daemon: sends the request entries as one message and keeps
/// the reply.
class UiEvent : public Cmds {
public:
    explicit UiEvent(TavLogger* logger);
    ~UiEvent() override;

    /// Sends the request entries in a container of that name to the resource daemon and keeps its
    /// reply. DONE; FAILED or, after a fatal failure of the communication layer, USAGE: both have
    /// then been logged. Other exceptions of the lower layers pass through.
    int sendArgs(const std::string& requestName);
    /// Appends the children of `m`, message numbers under the word they are about, to the results.
    /// Nothing happens for a message that is no container. Returns 0.
    int procContainerData(const Message* m);

    /// Numbers of messages that a failed exchange logs.
    static constexpr int MESSAGE_REQUEST_FAILED = 184;
    static constexpr int MESSAGE_CONNECTION_REFUSED = 249;

protected:
    std::unique_ptr<Container> m_reply;               ///< null before a successful exchange
    std::vector<std::pair<std::string, int>> results; ///< in arrival order
};

} // namespace TAV
