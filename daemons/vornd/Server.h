#pragma once

#include "daemons/vornd/Limits.h"
#include "daemons/vornd/Peers.h"
#include "daemons/vornd/ReplyCache.h"
#include "daemons/vornd/Sessions.h"
#include "daemons/vornd/Thread.h"
#include "daemons/vornd/Turnstile.h"
#include "tav/comm/ServerSocket.h"

#include <atomic>
#include <chrono>
#include <functional>
#include <memory>
#include <string>

namespace vornd {

/// The reply to a request of a user, ready to be sent.
using AnswerFunction = std::function<FramePointer(const TAV::Message&, const std::string& user)>;

/// Called before a reply is made, to wait for what it needs from elsewhere; may tell the client to
/// wait. What it returns makes the reply instead of the server's own function, unless it is empty.
using PrepareFunction = std::function<AnswerFunction(const TAV::Message&, const OrderFunction&)>;

/// Serves one request a connection on an endpoint of this node.
///
/// Every client has a thread and a deadline of its own, so that none holds up another; one that
/// sends nonsense is dropped with a line in the log.
class Server {
public:
    /// Listens: clients that connect from now on are served once start() was called. Throws
    /// EndPointException when somebody else serves the address, else IOException. `answer` is
    /// called from many threads at a time, `prepare` (may be empty) from all clients' threads; what
    /// they throw drops the client.
    Server(const std::string& address, const Limits& limits, AnswerFunction answer,
           PrepareFunction prepare = nullptr);
    ~Server();
    Server(const Server&) = delete;
    Server& operator=(const Server&) = delete;

    /// The connect string under which the endpoint is reached; empty when it cannot be told.
    [[nodiscard]] std::string address() const;
    /// False when no thread can be started.
    bool start();
    /// Closes the endpoint, then ends the clients within their grace. May be called twice.
    void stop();

private:
    void acceptClients();
    bool acceptClient();
    void serve(Session& session);
    void exchange(Session& session);
    std::unique_ptr<const TAV::Message> receive(Session& session);
    AnswerFunction prepared(Session& session, const TAV::Message& request);
    void order(Session& session, const std::string& message, std::chrono::seconds wait);
    FramePointer frameFor(Session& session, std::unique_ptr<const TAV::Message> request);

    const Limits m_limits;
    const AnswerFunction m_answer;
    const PrepareFunction m_prepare;
    Turnstile m_builders;
    std::unique_ptr<TAV::ServerSocket> m_listener;
    Sessions m_sessions;
    Thread m_acceptor;
    std::atomic<bool> m_stopping{false};
};

} // namespace vornd
