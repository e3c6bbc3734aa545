#include "daemons/evmd/Conversation.h"

#include "platform/include/clock.h"

#include <new>
#include <optional>
#include <utility>

namespace evmd {

/// A received message, kept by the message layer until it is released.
class Conversation::Message {
public:
    explicit Message(nipcEndp* endpoint) : m_endpoint(endpoint) {}
    ~Message() { release(); }
    Message(const Message&) = delete;
    Message& operator=(const Message&) = delete;

    nipc_result wait(int timeout_ms) { return nipcWaitF(m_endpoint, timeout_ms, &m_info); }
    void release() {
        if (m_info.buffer != nullptr) nipcReleaseBufferF(m_endpoint, m_info.buffer);
        m_info.buffer = nullptr;
    }
    [[nodiscard]] evm::Bytes bytes() const {
        return {static_cast<const std::byte*>(m_info.buffer), m_info.length};
    }

private:
    nipcEndp* const m_endpoint;
    nipcReqInfo m_info{};
};

void Conversation::hold() {
    if (!connect()) return;
    while (serve()) {
    }
}

bool Conversation::end(const char* reason) {
    m_reason = reason;
    return false;
}

/// A client that is refused is told so before it is dropped.
bool Conversation::connect() {
    Message message(m_session.endpoint.get());
    if (nipcLimitF(m_session.endpoint.get(), evm::COMM_HEADER_SIZE) != NIPC_OK) return false;
    if (!receive(message, m_common.limits.handshakeTime, "sent no connect request in time"))
        return false;
    EvmCommHead_t head{};
    std::uint32_t refusal = judgeConnectHeader(message.bytes(), head);
    message.release();
    if (refusal == 0) {
        if (!receiveBody(message, head.bodySize)) return false;
        refusal = judgeConnectBody(message.bytes(), m_session.peer);
    }
    while (refusal == 0 && m_sessionId == 0) m_sessionId = ++m_common.lastSessionId;
    const bool sent = send(EvmCOMM_CONNECT_RSP, refusal, 0);
    return refusal == 0 ? sent : end("its connect request was refused");
}

bool Conversation::serve() {
    Message message(m_session.endpoint.get());
    if (!receiveHeader(message)) return false;
    EvmCommHead_t head{};
    const Request request = judgeRequest(message.bytes(), m_sessionId, head);
    message.release();
    switch (request) {
    case Request::POST:
        return post(head);
    case Request::PASS_OVER:
        return passOver(head);
    case Request::END:
        return false;
    case Request::FAULT:
        break;
    }
    return end("it sent what no client sends");
}

bool Conversation::passOver(const EvmCommHead_t& head) {
    Message message(m_session.endpoint.get());
    return head.bodySize == 0 || receiveBody(message, head.bodySize);
}

bool Conversation::post(const EvmCommHead_t& head) {
    std::optional<vornd::Turnstile::Pass> pass;
    if (head.bodySize > m_common.limits.largeRecord) pass.emplace(m_common.largeRecords);
    Message message(m_session.endpoint.get());
    if (!receiveBody(message, head.bodySize)) return false;
    EventPointer event;
    std::uint32_t flags = judgeRecord(message.bytes(), m_common.limits.recordSize, event);
    message.release();
    const bool answered = (head.flags & EvmCOMM_FLAG_NO_RESPONSE) == 0;
    if (flags == 0) flags = store(std::move(event), answered);
    return !answered || send(EvmCOMM_POST_RSP, flags, head.headerData);
}

/// The flags of the response.
std::uint32_t Conversation::store(EventPointer event, bool answered) {
    try {
        if (!answered)
            m_common.writer->storeUnanswered(std::move(event));
        else if (!m_common.writer->store(std::move(event)))
            return EvmCOMM_FLAG_REJECTED;
        return 0;
    } catch (const std::bad_alloc&) {
        return EvmCOMM_FLAG_NO_MEMORY;
    }
}

/// A connected client may be silent for as long as nobody else needs its place.
bool Conversation::receiveHeader(Message& message) {
    if (nipcLimitF(m_session.endpoint.get(), evm::COMM_HEADER_SIZE) != NIPC_OK) return false;
    m_session.idleSince = sltrgatime64();
    const bool received = receive(message, std::chrono::milliseconds(-1), "");
    m_session.idleSince = 0;
    return received;
}

/// Nothing longer than announced is taken, and nothing shorter believed.
bool Conversation::receiveBody(Message& message, std::uint32_t size) {
    if (nipcLimitF(m_session.endpoint.get(), size) != NIPC_OK) return false;
    if (!receive(message, m_common.limits.bodyTime, "sent no body in time")) return false;
    return message.bytes().size() == size || end("it sent a body of another size than announced");
}

/// A negative time is none. When the daemon stops, what has not begun to come is not waited for.
bool Conversation::receive(Message& message, std::chrono::milliseconds time, const char* missing) {
    nipc_result result = NIPC_POSTED;
    while (result == NIPC_POSTED) {
        const bool last = m_common.stopping && time.count() < 0;
        result = message.wait(last ? 0 : static_cast<int>(time.count()));
    }
    if (result == NIPC_OK) return true;
    if (result == NIPC_TIMEOUT && !m_common.stopping) return end(missing);
    if (result == NIPC_NO_MEMORY) return end("out of memory");
    return result == NIPC_LOST && end("it broke off, stalled or sent no message");
}

bool Conversation::send(EvmCommType_t type, std::uint32_t flags, std::uint64_t data) {
    const auto message = evm::encodeHeader(type, flags, data, 0, m_sessionId);
    switch (nipcSendSyncF(m_session.endpoint.get(), message.data(), message.size())) {
    case NIPC_OK:
        return true;
    case NIPC_LOST:
        return end("it did not take its answer");
    default:
        return false;
    }
}

} // namespace evmd
