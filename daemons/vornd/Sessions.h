#pragma once

#include "daemons/vornd/Limits.h"
#include "daemons/vornd/Thread.h"
#include "tav/comm/Socket.h"

#include <chrono>
#include <condition_variable>
#include <functional>
#include <list>
#include <map>
#include <memory>
#include <mutex>
#include <string>

namespace vornd {

using SessionClock = std::chrono::steady_clock;

/// What a line in the log calls a client of the user; nobody's when the name is empty.
[[nodiscard]] std::string clientText(const std::string& user);

/// One accepted client and the thread that serves it.
struct Session {
    TAV::Socket socket;
    std::string user;

private:
    friend class Sessions;
    Thread thread;
    SessionClock::time_point deadline;
    const char* duty = nullptr; ///< what the client is late with past the deadline, for the log
    bool interrupted = false;
    bool finished = false;
};

/// All clients of the daemon: who gets in, by when each must be done, and their end.
///
/// Thread-safe. Destroyed only after stop().
class Sessions {
public:
    /// `serve` runs on the session's own thread; it lets no exception out and does not close.
    Sessions(const Limits& limits, std::function<void(Session&)> serve);
    ~Sessions();
    Sessions(const Sessions&) = delete;
    Sessions& operator=(const Sessions&) = delete;

    /// False when no thread can be started.
    bool start();
    /// Serves an accepted client, or closes it when it may not come in.
    void admit(std::unique_ptr<Session> session);
    /// Gives a client a new deadline. A client that exceeds it is interrupted, and a line says what
    /// its duty was; without a duty (null) nothing is said.
    void setDeadline(Session& session, std::chrono::milliseconds time, const char* duty);
    /// Lets nobody in any more, gives clients their last grace and waits until all are gone.
    void stop();

private:
    using List = std::list<std::unique_ptr<Session>>;

    std::string place(std::unique_ptr<Session> session);
    std::string refusal(const Session& session) const;
    bool launch(std::unique_ptr<Session> session);
    void limit(Session& session, std::chrono::milliseconds time, const char* duty);
    void leave(const std::string& user);
    void run(Session& session);
    void finish(Session& session);
    void keep();
    bool reap(std::unique_lock<std::mutex>& lock);
    SessionClock::time_point interruptOverdue();

    const Limits m_limits;
    const std::function<void(Session&)> m_serve;
    const std::string m_superuser;
    Thread m_keeper;

    std::mutex m_mutex; ///< guards what follows and the sessions' private parts
    std::condition_variable m_changed;
    List m_sessions;
    std::map<std::string, unsigned> m_usersClients;
    unsigned m_clients = 0;
    bool m_stopping = false;
    SessionClock::time_point m_lastDeadline = SessionClock::time_point::max();
    SessionClock::time_point m_nextLook = SessionClock::time_point::max(); ///< of the keeper
};

} // namespace vornd
