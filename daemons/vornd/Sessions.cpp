#include "daemons/vornd/Sessions.h"

#include "daemons/vornd/Caller.h"
#include "daemons/vornd/DaemonLog.h"

#include <algorithm>
#include <new>
#include <utility>

namespace vornd {

std::string clientText(const std::string& user) {
    return user.empty() ? "client without a name" : "client of " + printable(user);
}

Sessions::Sessions(const Limits& limits, std::function<void(Session&)> serve)
    : m_limits(limits), m_serve(std::move(serve)), m_superuser(superuserName()) {}

Sessions::~Sessions() {
    stop();
}

bool Sessions::start() {
    return m_keeper.start([this] { keep(); });
}

/// Why a client may not come in; empty when it may.
std::string Sessions::refusal(const Session& session) const {
    if (m_stopping) return "the daemon stops";
    if (m_limits.areUsers && session.user.empty()) return "its user is not known";
    const bool isSuperuser = session.user == m_superuser;
    const unsigned places = m_limits.clients - (isSuperuser ? 0 : m_limits.superuserReserve);
    if (m_clients >= places) return "too many clients";
    const auto known = m_usersClients.find(session.user);
    const unsigned own = known == m_usersClients.end() ? 0 : known->second;
    return !isSuperuser && own >= m_limits.clientsPerUser ? "too many clients of this user" : "";
}

void Sessions::admit(std::unique_ptr<Session> session) {
    TAV::Socket socket = session->socket;
    if (socket.isAuthenticated()) session->user = socket.getUsername();
    const std::string user = session->user;
    const std::string reason = place(std::move(session));
    if (reason.empty()) return;
    socket.release();
    logLine(clientText(user), " refused: ", reason);
}

/// Why the client could not be taken in; empty when it was.
std::string Sessions::place(std::unique_ptr<Session> session) {
    const std::lock_guard lock(m_mutex);
    try {
        std::string reason = refusal(*session);
        if (!reason.empty()) return reason;
        return launch(std::move(session)) ? "" : "no thread can be started";
    } catch (const std::bad_alloc&) {
        return "out of memory";
    }
}

/// With the lock held, so that the new thread cannot end before it is entered.
bool Sessions::launch(std::unique_ptr<Session> session) {
    Session& started = *session;
    unsigned& own = m_usersClients[started.user];
    m_sessions.push_back(std::move(session));
    ++own;
    ++m_clients;
    limit(started, m_limits.requestTime, "sent no whole request in time");
    if (started.thread.start([this, &started] { run(started); })) return true;
    leave(started.user);
    m_sessions.pop_back();
    return false;
}

void Sessions::run(Session& session) {
    m_serve(session);
    finish(session);
}

/// Closes under the lock: nobody may interrupt a connection that is gone.
void Sessions::finish(Session& session) {
    const std::lock_guard lock(m_mutex);
    session.socket.release();
    session.finished = true;
    leave(session.user);
    m_changed.notify_all();
}

void Sessions::leave(const std::string& user) {
    --m_clients;
    const auto own = m_usersClients.find(user);
    if (--own->second == 0) m_usersClients.erase(own);
}

void Sessions::setDeadline(Session& session, std::chrono::milliseconds time, const char* duty) {
    const std::lock_guard lock(m_mutex);
    limit(session, time, duty);
}

void Sessions::limit(Session& session, std::chrono::milliseconds time, const char* duty) {
    session.deadline = std::min(SessionClock::now() + time, m_lastDeadline);
    session.duty = duty;
    if (session.deadline < m_nextLook) m_changed.notify_all();
}

void Sessions::stop() {
    {
        const std::lock_guard lock(m_mutex);
        m_stopping = true;
        m_lastDeadline = std::min(m_lastDeadline, SessionClock::now() + m_limits.stopGrace);
        for (const auto& session : m_sessions)
            session->deadline = std::min(session->deadline, m_lastDeadline);
        m_changed.notify_all();
    }
    m_keeper.join();
}

void Sessions::keep() {
    std::unique_lock lock(m_mutex);
    while (true) {
        if (reap(lock)) continue;
        if (m_stopping && m_sessions.empty()) return;
        m_nextLook = interruptOverdue();
        if (m_nextLook == SessionClock::time_point::max())
            m_changed.wait(lock);
        else
            m_changed.wait_until(lock, m_nextLook);
    }
}

/// Joins the threads that have ended; true when there were some: the lock was given back meanwhile.
bool Sessions::reap(std::unique_lock<std::mutex>& lock) {
    List ended;
    for (auto next = m_sessions.begin(); next != m_sessions.end();) {
        const auto session = next++;
        if ((*session)->finished) ended.splice(ended.end(), m_sessions, session);
    }
    if (ended.empty()) return false;
    lock.unlock();
    ended.clear();
    lock.lock();
    return true;
}

/// The next deadline of those that are left.
SessionClock::time_point Sessions::interruptOverdue() {
    const SessionClock::time_point now = SessionClock::now();
    SessionClock::time_point next = SessionClock::time_point::max();
    for (const auto& session : m_sessions) {
        if (session->interrupted || session->finished) continue;
        if (session->deadline > now) {
            next = std::min(next, session->deadline);
            continue;
        }
        session->interrupted = true;
        session->socket.interruptConnection();
        if (session->duty == nullptr) continue;
        const char* const reason = m_stopping ? "the daemon stops" : session->duty;
        logLine(clientText(session->user), " dropped: ", reason);
    }
    return next;
}

} // namespace vornd
