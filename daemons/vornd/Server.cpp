#include "daemons/vornd/Server.h"

#include "daemons/vornd/DaemonLog.h"
#include "daemons/vornd/StatusWords.h"
#include "platform/include/clock.h"
#include "tav/comm/CommException.h"
#include "tav/comm/MessageStream.h"
#include "tav/comm/clscContext.h"
#include "tav/ui/cmd/tavNames.h"

#include <exception>
#include <stdexcept>

namespace vornd {

namespace {

/// Between two attempts to accept when the system has no room for a client.
constexpr std::uint64_t ACCEPT_PAUSE_US = 100'000;

constexpr const char* LATE_WITH_REPLY = "did not take the reply in time";

/// Where an authenticated listener keeps what it authenticates with: the kernel answers for the
/// peers of this node, so the name alone is given.
constexpr const char* AUTH_LOCATION = TAV::AUTH_DIR;

const unsigned char* bytes(const char* text) {
    return reinterpret_cast<const unsigned char*>(text);
}

std::unique_ptr<TAV::ServerSocket> listenAt(std::string address, bool forUsers) {
    clscctx* const context = TAV::tavgetclscctx();
    clscugblm* area = nullptr;
    if (context == nullptr || clscugblmini(context, &area, 0) != CLSC_OK)
        throw TAV::IOException("the communication layer cannot be started");
    return std::make_unique<TAV::ServerSocket>(context, area,
                                               reinterpret_cast<unsigned char*>(address.data()),
                                               forUsers ? bytes(AUTH_LOCATION) : nullptr);
}

/// The first line of an exception's text; the place of the raise follows in further ones.
std::string reasonOf(const cls::Exception& error) {
    const std::string& text = error.what();
    return printable(std::string_view(text).substr(0, text.find('\n')));
}

/// Says nothing of a client that was interrupted: why was said when it was.
void logDropped(Session& session, const std::string& reason) {
    if (!session.socket.connisValid()) return;
    logLine(clientText(session.user), " dropped: ", reason);
}

/// The frame as the communication layer wants it, which sends it without a change.
clscmsgh* messageIn(const std::vector<unsigned char>& frame) {
    return reinterpret_cast<clscmsgh*>(const_cast<unsigned char*>(frame.data()));
}

unsigned frameSize(const std::vector<unsigned char>& frame) {
    return static_cast<unsigned>(frame.size());
}

/// Waits until the client has closed; anything that it still sends ends the connection as well.
void awaitClose(TAV::Socket& socket) {
    alignas(clscmsgh) unsigned char header[CLSC_MIN_MESSAGE];
    socket.tav_clsrecv(reinterpret_cast<clscmsgh*>(header), sizeof header);
}

} // namespace

Server::Server(const std::string& address, const Limits& limits, AnswerFunction answer,
               PrepareFunction prepare)
    : m_limits(limits), m_answer(std::move(answer)), m_prepare(std::move(prepare)),
      m_builders(limits.builders), m_listener(listenAt(address, limits.areUsers)),
      m_sessions(limits, [this](Session& s) { serve(s); }) {}

Server::~Server() {
    stop();
}

std::string Server::address() const {
    unsigned char text[CLSC_ADDRESS_SIZE] = {};
    clscgetaddr(m_listener->getHandle(), text, sizeof text, CLSC_ADDR_LOCAL);
    return reinterpret_cast<const char*>(text);
}

bool Server::start() {
    return m_sessions.start() && m_acceptor.start([this] { acceptClients(); });
}

void Server::stop() {
    m_stopping = true;
    if (m_listener != nullptr) m_listener->interruptConnection();
    m_acceptor.join();
    if (m_listener != nullptr) m_listener->close();
    m_listener.reset();
    m_sessions.stop();
}

void Server::acceptClients() {
    while (!m_stopping)
        if (!acceptClient()) sltrusleep(ACCEPT_PAUSE_US);
}

/// False when the listener itself is in trouble, which may pass.
bool Server::acceptClient() {
    try {
        auto session = std::make_unique<Session>();
        if (m_listener->accept(&session->socket, true) == CLSC_NOTHING) return m_stopping;
        m_sessions.admit(std::move(session));
        return true;
    } catch (const cls::Exception& error) {
        logLine("accepting a client: ", reasonOf(error));
    } catch (const std::exception& error) {
        logLine("accepting a client: ", error.what());
    }
    return false;
}

void Server::serve(Session& session) {
    try {
        exchange(session);
    } catch (const cls::Exception& error) {
        logDropped(session, reasonOf(error));
    } catch (const std::exception& error) {
        logDropped(session, error.what());
    }
}

void Server::exchange(Session& session) {
    const FramePointer frame = frameFor(session, receive(session));
    m_sessions.setDeadline(session, m_limits.replyTime, LATE_WITH_REPLY);
    const int result = session.socket.tav_clssend(messageIn(*frame), frameSize(*frame));
    if (result != CLSC_OK) return logDropped(session, "it did not take the reply");
    m_sessions.setDeadline(session, m_limits.closeTime, nullptr);
    awaitClose(session.socket);
}

std::unique_ptr<const TAV::Message> Server::receive(Session& session) {
    TAV::MessageStream stream(&session.socket);
    stream.limitFrame(m_limits.requestSize);
    std::unique_ptr<const TAV::Message> request(stream.readMessage());
    m_sessions.setDeadline(session, m_limits.replyTime, LATE_WITH_REPLY);
    return request;
}

/// Only the frame outlives this: while a slow client takes it, nothing else is kept for it. Whoever
/// waits for something else takes no place from those whose replies can be made.
FramePointer Server::frameFor(Session& session, std::unique_ptr<const TAV::Message> request) {
    const AnswerFunction answer = prepared(session, *request);
    const Turnstile::Pass pass(m_builders);
    return answer(*request, session.user);
}

AnswerFunction Server::prepared(Session& session, const TAV::Message& request) {
    if (!m_prepare) return m_answer;
    AnswerFunction other =
        m_prepare(request, [&](const std::string& message, std::chrono::seconds wait) {
            order(session, message, wait);
        });
    return other ? other : m_answer;
}

/// The client's own time begins when its waiting ends.
void Server::order(Session& session, const std::string& message, std::chrono::seconds wait) {
    TAV::Container text(ORDER_REPLY);
    text.SetProperty(ORDER_MESSAGE, message);
    text.SetProperty(ORDER_WAIT, std::to_string(wait.count()));
    const std::vector<unsigned char> frame = TAV::MessageStream().encode(text);
    m_sessions.setDeadline(session, m_limits.replyTime + wait, LATE_WITH_REPLY);
    if (session.socket.tav_clssend(messageIn(frame), frameSize(frame)) != CLSC_OK)
        throw std::runtime_error("it went while it was to wait");
}

} // namespace vornd
