#pragma once

#include "daemons/evmd/Limits.h"
#include "daemons/evmd/Session.h"

#include <chrono>
#include <condition_variable>
#include <functional>
#include <list>
#include <map>
#include <memory>
#include <mutex>
#include <string>

namespace evmd {

/// All clients of the daemon: who gets in, who loses its place, and their end.
///
/// Thread-safe. Destroyed only after stop().
class Sessions {
public:
    /// `serve` runs on the session's own thread and lets no exception out; the endpoint is closed
    /// after it.
    Sessions(const Limits& limits, std::function<void(Session&)> serve);
    ~Sessions();
    Sessions(const Sessions&) = delete;
    Sessions& operator=(const Sessions&) = delete;

    /// Serves a client, or closes it when it may not come in.
    void admit(EndpointPointer endpoint);
    /// Lets nobody in any more, wakes everybody, gives them their last grace and waits until all
    /// are gone.
    void stop();

private:
    using List = std::list<std::unique_ptr<Session>>;

    std::string place(std::unique_ptr<Session>& session);
    std::string refusal(const Session& session);
    bool evictFor(const Session& session, bool ofSameUser);
    bool launch(std::unique_ptr<Session>& session);
    unsigned clientsOf(const Session& session) const;
    void enter(const Session& session);
    void leave(const Session& session);
    void finish(List::iterator session);

    const Limits m_limits;
    const std::function<void(Session&)> m_serve;

    std::mutex m_mutex; ///< guards what follows and the sessions' private parts
    std::condition_variable m_left;
    List m_sessions;
    std::unique_ptr<Session> m_lastToLeave; ///< whose thread is still to be joined
    std::map<std::uint32_t, unsigned> m_usersClients;
    unsigned m_clients = 0;
    bool m_stopping = false;
};

} // namespace evmd
