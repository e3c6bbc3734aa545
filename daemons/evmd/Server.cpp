#include "daemons/evmd/Server.h"

#include "daemons/evmd/DaemonLog.h"
#include "platform/include/clock.h"

#include <exception>

namespace evmd {

namespace {

/// Between two attempts to accept when the system has no room for a client.
constexpr std::uint64_t ACCEPT_PAUSE_US = 100'000;

EndpointPointer listenAt(nipcCtx* context, const std::string& address) {
    nipcEndp* made = nullptr;
    if (nipcEndpointF(context, &made, address.c_str(), NIPC_OPTION_LISTEN) != NIPC_OK)
        throw ListenError("the address " + address + " cannot be used");
    EndpointPointer listener(made);
    const nipc_result result = nipcListenF(listener.get());
    if (result == NIPC_IN_USE) throw ListenError("another evmd serves this node; stop it first");
    if (result != NIPC_OK)
        throw ListenError("cannot listen at " + address +
                          "; the log tells why, runtime_dir in node.conf where");
    return listener;
}

} // namespace

MessageLayer::MessageLayer() {
    if (nipcInitializeF() != NIPC_OK) throw ListenError("the message layer cannot be started");
    nipcCtx* context = nullptr;
    const bool made = nipcContextF(&context) == NIPC_OK;
    m_context.reset(context);
    if (made) return;
    nipcShutdownF();
    throw ListenError("the message layer is out of memory");
}

MessageLayer::~MessageLayer() {
    m_context.reset();
    nipcShutdownF();
}

Server::Server(const std::string& address, const Limits& limits)
    : m_listener(listenAt(m_layer.context(), address)), m_common{limits},
      m_sessions(limits, [this](Session& session) { serve(session); }) {}

Server::~Server() {
    stop();
}

bool Server::start(Writer& writer) {
    m_common.writer = &writer;
    return m_acceptor.start([this] { acceptClients(); });
}

void Server::stop() {
    m_common.stopping = true;
    nipcDisconnectF(m_listener.get());
    m_acceptor.join();
    m_sessions.stop();
}

void Server::acceptClients() {
    while (!m_common.stopping)
        if (!acceptClient()) sltrusleep(ACCEPT_PAUSE_US);
}

/// False when the listener itself is in trouble, which may pass.
bool Server::acceptClient() {
    try {
        nipcEndp* accepted = nullptr;
        const nipc_result result = nipcAcceptSyncF(m_listener.get(), &accepted);
        EndpointPointer endpoint(accepted);
        if (result != NIPC_OK) return m_common.stopping;
        m_sessions.admit(std::move(endpoint));
        return true;
    } catch (const std::exception& error) {
        logLine("accepting a client: ", error.what());
    }
    return false;
}

void Server::serve(Session& session) {
    try {
        Conversation conversation(session, m_common);
        conversation.hold();
        if (conversation.reason().empty()) return;
        logLine("client ", session.peer.process.pid, " of user ", session.peer.user.uid,
                " dropped: ", conversation.reason());
    } catch (const std::exception& error) {
        logLine("client ", session.peer.process.pid, " dropped: ", error.what());
    }
}

} // namespace evmd
