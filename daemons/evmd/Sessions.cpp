#include "daemons/evmd/Sessions.h"

#include "daemons/evmd/DaemonLog.h"
#include "platform/include/clock.h"

#include <algorithm>
#include <new>
#include <utility>

namespace evmd {

namespace {

constexpr std::uint32_t SUPERUSER = 0;

bool isSuperuser(const Session& session) {
    return session.peer.user.uid == SUPERUSER;
}

} // namespace

Sessions::Sessions(const Limits& limits, std::function<void(Session&)> serve)
    : m_limits(limits), m_serve(std::move(serve)) {}

Sessions::~Sessions() {
    stop();
}

void Sessions::admit(EndpointPointer endpoint) {
    auto session = std::make_unique<Session>();
    session->endpoint = std::move(endpoint);
    Peer& peer = session->peer;
    if (nipcGetPeerF(session->endpoint.get(), &peer.process, &peer.user) != NIPC_OK)
        return logLine("client refused: who it is is not known");
    const Peer known = peer;
    const std::string reason = place(session);
    if (reason.empty()) return;
    logLine("client ", known.process.pid, " of user ", known.user.uid, " refused: ", reason);
}

/// Why the client could not be taken in; empty when it was.
std::string Sessions::place(std::unique_ptr<Session>& session) {
    const std::lock_guard lock(m_mutex);
    std::string reason = refusal(*session);
    if (!reason.empty()) return reason;
    return launch(session) ? "" : "no thread can be started";
}

std::string Sessions::refusal(const Session& session) {
    if (m_stopping) return "the daemon stops";
    const unsigned places =
        m_limits.clients - (isSuperuser(session) ? 0 : m_limits.superuserReserve);
    if (!isSuperuser(session) && clientsOf(session) >= m_limits.clientsPerUser &&
        !evictFor(session, true))
        return "too many clients of this user";
    return m_clients >= places && !evictFor(session, false) ? "too many clients" : "";
}

/// Gives the place of the client that has been silent longest to a new one. A place of the
/// superuser is given to the superuser only.
bool Sessions::evictFor(const Session& session, bool ofSameUser) {
    const std::uint64_t now = sltrgatime64();
    const auto least = static_cast<std::uint64_t>(m_limits.idleTime.count());
    Session* silent = nullptr;
    std::uint64_t since = now > least ? now - least : 0;
    for (const auto& other : m_sessions) {
        const std::uint64_t idle = other->idleSince;
        const bool mayGo = ofSameUser ? other->peer.user.uid == session.peer.user.uid
                                      : isSuperuser(session) || !isSuperuser(*other);
        if (idle == 0 || idle > since || other->evicted || !mayGo) continue;
        since = idle;
        silent = other.get();
    }
    if (silent == nullptr) return false;
    silent->evicted = true;
    leave(*silent);
    nipcDisconnectF(silent->endpoint.get());
    logLine("client ", silent->peer.process.pid, " of user ", silent->peer.user.uid,
            " dropped: silent for long, and its place is needed");
    return true;
}

/// With the lock held, so that the new thread cannot end before it is entered.
bool Sessions::launch(std::unique_ptr<Session>& session) {
    Session& started = *session;
    const auto at = m_sessions.insert(m_sessions.end(), nullptr);
    enter(started);
    *at = std::move(session);
    const auto body = [this, at] {
        m_serve(**at);
        finish(at);
    };
    if (started.thread.start(body)) return true;
    leave(started);
    m_sessions.erase(at);
    return false;
}

unsigned Sessions::clientsOf(const Session& session) const {
    const auto own = m_usersClients.find(session.peer.user.uid);
    return own == m_usersClients.end() ? 0 : own->second;
}

void Sessions::enter(const Session& session) {
    ++m_usersClients[session.peer.user.uid];
    ++m_clients;
}

void Sessions::leave(const Session& session) {
    --m_clients;
    const auto own = m_usersClients.find(session.peer.user.uid);
    if (--own->second == 0) m_usersClients.erase(own);
}

/// Ends the calling thread's own session. No thread can wait for itself, so each waits for the one
/// that left before it.
void Sessions::finish(List::iterator session) {
    std::unique_ptr<Session> before;
    const std::lock_guard lock(m_mutex);
    (*session)->endpoint.reset();
    if (!(*session)->evicted) leave(**session);
    before = std::exchange(m_lastToLeave, std::move(*session));
    m_sessions.erase(session);
    m_left.notify_all();
}

void Sessions::stop() {
    std::unique_lock lock(m_mutex);
    m_stopping = true;
    for (const auto& session : m_sessions) nipcPostF(session->endpoint.get());
    const auto allGone = [this] { return m_sessions.empty(); };
    if (!m_left.wait_for(lock, m_limits.stopGrace, allGone)) {
        for (const auto& session : m_sessions) nipcDisconnectF(session->endpoint.get());
        m_left.wait(lock, allGone);
    }
    const std::unique_ptr<Session> last = std::move(m_lastToLeave);
    lock.unlock();
}

} // namespace evmd
