#pragma once

#include "daemons/evmd/Limits.h"
#include "daemons/evmd/Session.h"
#include "daemons/evmd/Writer.h"
#include "daemons/vornd/Turnstile.h"

#include <atomic>
#include <chrono>
#include <cstdint>
#include <string>

namespace evmd {

/// What all conversations of the daemon share. It outlives them.
struct Common {
    const Limits limits;
    Writer* writer = nullptr; ///< set before the first client is served
    vornd::Turnstile largeRecords{limits.largeRecords};
    std::atomic<std::uint32_t> lastSessionId{0};
    std::atomic<bool> stopping{false}; ///< set before the clients' endpoints are woken
};

/// The daemon's part in what a client says, from its connect request to its end: the client gets
/// its answers in the order of its posts, one post at a time. Used by the client's thread.
class Conversation {
public:
    Conversation(Session& session, Common& common) : m_session(session), m_common(common) {}

    /// Until the client or the daemon ends it.
    void hold();
    /// Why the daemon ended it; empty when the client simply left.
    [[nodiscard]] const std::string& reason() const { return m_reason; }

private:
    class Message;

    bool connect();
    bool serve();
    bool post(const EvmCommHead_t& head);
    bool passOver(const EvmCommHead_t& head);
    std::uint32_t store(EventPointer event, bool answered);
    bool receiveHeader(Message& message);
    bool receiveBody(Message& message, std::uint32_t size);
    bool receive(Message& message, std::chrono::milliseconds time, const char* missing);
    bool send(EvmCommType_t type, std::uint32_t flags, std::uint64_t data);
    bool end(const char* reason);

    Session& m_session;
    Common& m_common;
    std::uint32_t m_sessionId = 0;
    std::string m_reason;
};

} // namespace evmd
