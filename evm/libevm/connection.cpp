#include "evm/libevm/connection.h"

#include "evm/libevm/live_handles.h"

#include <algorithm>
#include <climits>
#include <utility>

using namespace evm;

namespace {

/// Guards which connections are live, so that none dies between being found and being pinned.
constinit cls_thrIMx liveMutex;

/// A wait's bound in milliseconds, clamped to what can be waited for.
int boundOf(const cls_timeval& timeout) {
    constexpr std::int64_t MILLISECONDS = 1000;
    constexpr std::int64_t LONGEST = INT_MAX;
    const std::int64_t seconds =
        std::clamp<std::int64_t>(timeout.tv_sec, 0, LONGEST / MILLISECONDS);
    const std::int64_t rest = std::clamp<std::int64_t>(timeout.tv_usec, 0, LONGEST);
    return static_cast<int>(std::clamp<std::int64_t>(seconds * MILLISECONDS + rest, 1, LONGEST));
}

} // namespace

EvmConnection_s::~EvmConnection_s() {
    _evmQueueClear(msgQueue);
    if (con != nullptr) EvmConDestroy(con);
    cls_thrMxd(&conn_mx);
    cls_thrCvtdestroy(&conn_condv);
}

namespace evm {

Pin pinned(EvmConnection_t connection) {
    const StaticLock lock(liveMutex);
    const bool live =
        connection != nullptr && isInLiveSet(connection) && connection->magic == CONNECTION_MAGIC;
    return live ? connection->self : nullptr;
}

EvmStatus_t pinActive(EvmConnection_t connection, Pin& pin) {
    pin = pinned(connection);
    if (pin == nullptr) return EvmERROR_INVALID_ARGUMENT;
    const bool active = !pin->disabled && EvmConIsConnected(pin->con) == EvmTRUE;
    return active ? EvmERROR_NONE : EvmERROR_CONNECTION_LOST;
}

Turn::Turn(EvmConnection_s& connection, Flag flag) : m_connection(connection), m_flag(flag) {
    const ConnectionLock lock(connection);
    while (connection.*flag != EvmFALSE)
        cls_thrCvtwait(&connection.conn_condv, &connection.conn_mx);
    connection.*flag = EvmTRUE;
}

Turn::~Turn() {
    const ConnectionLock lock(m_connection);
    m_connection.*m_flag = EvmFALSE;
    cls_thrCvtbroadcast(&m_connection.conn_condv);
}

void disable(EvmConnection_s& connection) {
    if (!connection.disabled.exchange(true)) EvmConDisconnect(connection.con);
}

EvmStatus_t awaitMessage(EvmConnection_s& connection, int timeout_ms) {
    const EvmStatus_t status = EvmConWait(connection.con, timeout_ms);
    if (status == EvmERROR_CONNECTION_LOST) disable(connection);
    return status;
}

EvmStatus_t sendRequest(EvmConnection_s& connection, EvmCommType_t type, std::uint32_t flags,
                        std::uint64_t headerData, std::span<std::byte> body) {
    const Turn sender(connection, &EvmConnection_s::channel_inuse);
    std::uint32_t session = 0;
    {
        const ConnectionLock lock(connection);
        session = connection.sessionID;
    }
    auto header =
        encodeHeader(type, flags, headerData, static_cast<std::uint32_t>(body.size()), session);
    EvmStatus_t status = _evmConSend(*connection.con, header);
    if (status == EvmERROR_NO_MEMORY) return status;
    if (status == EvmERROR_NONE) status = _evmConSend(*connection.con, body);
    if (status == EvmERROR_NONE) return status;
    disable(connection);
    return EvmERROR_CONNECTION_LOST;
}

EvmStatus_t flushQueue(EvmConnection_s& connection) {
    const Turn sender(connection, &EvmConnection_s::channel_inuse);
    _evmIoMsgQueue_t& queue = connection.msgQueue;
    while (queue.head != nullptr) {
        _evmIoMsgQueueEntry_t& entry = *queue.head;
        const std::span<std::byte> message(entry.msg, entry.length);
        if (_evmConSend(*connection.con, message.subspan(entry.written)) != EvmERROR_NONE) {
            disable(connection);
            return EvmERROR_CONNECTION_LOST;
        }
        entry.written = entry.length;
        _evmQueueDrop(queue);
    }
    return EvmERROR_NONE;
}

} // namespace evm

EvmStatus_t EvmConnDestroy(EvmConnection_t a_conn) {
    Pin connection = pinned(a_conn);
    if (connection == nullptr) return EvmERROR_INVALID_ARGUMENT;
    // While it is live: what is queued must still find its way out.
    if (!connection->disabled && connection->msgQueue.head != nullptr) flushQueue(*connection);
    Pin owned;
    {
        const StaticLock lock(liveMutex);
        if (!removeLive(a_conn)) return EvmERROR_INVALID_ARGUMENT;
        connection->magic = 0;
        owned = std::move(connection->self);
    }
    disable(*connection);
    return EvmERROR_NONE;
}

EvmStatus_t EvmConnConGet(EvmConnection_t a_conn, EvmCon_t* con) {
    if (con == nullptr) return EvmERROR_INVALID_ARGUMENT;
    const Pin connection = pinned(a_conn);
    *con = connection != nullptr ? connection->con : nullptr;
    return connection != nullptr ? EvmERROR_NONE : EvmERROR_INVALID_ARGUMENT;
}

EvmStatus_t EvmConnWait(EvmConnection_t a_conn, cls_timeval* a_timeout) {
    Pin connection;
    const EvmStatus_t status = pinActive(a_conn, connection);
    if (status != EvmERROR_NONE) return status;
    return awaitMessage(*connection, a_timeout != nullptr ? boundOf(*a_timeout) : NO_LIMIT);
}

EvmStatus_t EvmConnCheck(EvmConnection_t a_conn, EvmBoolean_t* a_responsePresent_p) {
    if (a_responsePresent_p == nullptr) return EvmERROR_INVALID_ARGUMENT;
    *a_responsePresent_p = EvmFALSE;
    Pin connection;
    EvmStatus_t status = pinActive(a_conn, connection);
    if (status == EvmERROR_NONE) status = awaitMessage(*connection, 0);
    if (status == EvmERROR_NONE) *a_responsePresent_p = EvmTRUE;
    return status == EvmERROR_TIMEOUT ? EvmERROR_NONE : status;
}

EvmStatus_t EvmConnFlush(EvmConnection_t a_conn, int* a_count) {
    if (a_count != nullptr) *a_count = 0;
    Pin connection;
    EvmStatus_t status = pinActive(a_conn, connection);
    if (status != EvmERROR_NONE) return status;
    status = flushQueue(*connection);
    if (a_count != nullptr) *a_count = connection->msgQueue.count;
    return status;
}

EvmStatus_t EvmConnPost(EvmConnection_t a_conn) {
    const Pin connection = pinned(a_conn);
    return connection != nullptr ? EvmConPost(connection->con) : EvmERROR_INVALID_ARGUMENT;
}
