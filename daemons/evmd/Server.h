#pragma once

#include "daemons/evmd/Conversation.h"
#include "daemons/evmd/Sessions.h"

#include <stdexcept>
#include <string>

namespace evmd {

/// Why the daemon cannot listen: one line.
class ListenError : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

/// Starts the message layer and stops it after everything that uses it is gone.
class MessageLayer {
public:
    MessageLayer();
    ~MessageLayer();
    MessageLayer(const MessageLayer&) = delete;
    MessageLayer& operator=(const MessageLayer&) = delete;

    [[nodiscard]] nipcCtx* context() const { return m_context.get(); }

private:
    ContextPointer m_context;
};

/// Takes events at an endpoint of this node. Every client has a thread and deadlines of its own, so
/// that none holds up another; one that sends nonsense is dropped with a line in the log.
class Server {
public:
    /// Listens: clients that connect from now on are served once start() was called. Throws
    /// ListenError.
    Server(const std::string& address, const Limits& limits);
    ~Server();
    Server(const Server&) = delete;
    Server& operator=(const Server&) = delete;

    /// False when no thread can be started. `writer` is used until stop() has returned.
    bool start(Writer& writer);
    /// Closes the endpoint, then ends the clients within their grace: posts that were taken are
    /// answered. May be called twice.
    void stop();

private:
    void acceptClients();
    bool acceptClient();
    void serve(Session& session);

    MessageLayer m_layer;
    EndpointPointer m_listener;
    Common m_common;
    Sessions m_sessions;
    vornd::Thread m_acceptor;
};

} // namespace evmd
