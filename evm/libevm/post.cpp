#include "evm/libevm/connection.h"
#include "evm/libevm/event_handle.h"
#include "evm/libevm/exchange.h"
#include "evm/libevm/poster.h"

using namespace evm;

namespace {

struct DestroyConnection {
    void operator()(EvmConnection_s* connection) const { EvmConnDestroy(connection); }
};

/// What the post's status is when its request could not be sent.
EvmStatus_t sendStatus(EvmStatus_t status) {
    return status == EvmERROR_NO_MEMORY ? EvmERROR_RESOURCE : status;
}

EvmStatus_t sendEvent(EvmConnection_s& connection, EvmEvent_t event, std::uint64_t cookie) {
    const bool ignored = connection.mode == EvmRESPONSE_IGNORE;
    bool withChecksum = false;
    {
        const ConnectionLock lock(connection);
        withChecksum = connection.checksumUsed != EvmFALSE;
    }
    if (withChecksum) _evmEventPrepare(*event);
    return sendStatus(sendRequest(connection, EvmCOMM_POST_REQ,
                                  ignored ? EvmCOMM_FLAG_NO_RESPONSE : 0U, cookie,
                                  recordOf(*event)));
}

/// The one post of the connection whose answer is waited for.
class Exchange {
public:
    explicit Exchange(EvmConnection_s& connection)
        : m_connection(connection), m_turn(connection, &EvmConnection_s::exchange_inuse) {
        const ConnectionLock lock(connection);
        connection.exchangeOwner = std::this_thread::get_id();
    }
    ~Exchange() {
        const ConnectionLock lock(m_connection);
        m_connection.exchangeOwner = {};
    }
    Exchange(const Exchange&) = delete;
    Exchange& operator=(const Exchange&) = delete;

    /// Whether the calling thread is in one, so that another would wait for itself.
    static bool isOwn(EvmConnection_s& connection) {
        const ConnectionLock lock(connection);
        return connection.exchangeOwner == std::this_thread::get_id();
    }

private:
    EvmConnection_s& m_connection;
    Turn m_turn;
};

EvmStatus_t postAndWait(EvmConnection_s& connection, EvmEvent_t event) {
    if (Exchange::isOwn(connection)) return EvmERROR_INVALID_OPERATION;
    const Exchange exchange(connection);
    if (connection.disabled) return EvmERROR_CONNECTION_LOST;
    expectAnswer(connection);
    const EvmStatus_t status = sendEvent(connection, event, event->identity);
    if (status == EvmERROR_NONE) return awaitAnswer(connection);
    forgetAnswer(connection);
    return status;
}

EvmStatus_t postForCallback(EvmConnection_s& connection, EvmEvent_t event) {
    std::uint64_t cookie = 0;
    {
        const ConnectionLock lock(connection);
        cookie = connection.posted.remember(event);
    }
    if (cookie == 0) return EvmERROR_NO_MEMORY;
    const EvmStatus_t status = sendEvent(connection, event, cookie);
    if (status != EvmERROR_NONE) {
        const ConnectionLock lock(connection);
        connection.posted.forget(cookie);
    }
    return status;
}

EvmStatus_t post(EvmConnection_s& connection, EvmEvent_t event) {
    switch (connection.mode) {
    case EvmRESPONSE_WAIT:
        return postAndWait(connection, event);
    case EvmRESPONSE_CALLBACK:
        return postForCallback(connection, event);
    default:
        return sendEvent(connection, event, event->identity);
    }
}

/// Over a connection of its own.
EvmStatus_t postAlone(EvmEvent_t event) {
    EvmConnection_t made = nullptr;
    EvmStatus_t status =
        EvmConnCreate(EvmCONNECTION_POST, EvmRESPONSE_WAIT, nullptr, nullptr, nullptr, &made);
    const std::unique_ptr<EvmConnection_s, DestroyConnection> connection(made);
    if (status == EvmERROR_NONE) status = fillAutomaticItems(nullptr, event, 0);
    return status == EvmERROR_NONE ? post(*connection, event) : status;
}

/// What the connection wants filled in.
EvmStatus_t fillItems(EvmConnection_s& connection, EvmEvent_t event) {
    EvmItemMask_t mask = 0;
    bool nothing = false;
    {
        const ConnectionLock lock(connection);
        if (connection.postComponentsMasked != EvmFALSE) {
            mask = connection.postItems;
            nothing = mask == 0;
        }
    }
    return nothing ? EvmERROR_NONE : fillAutomaticItems(&connection, event, mask);
}

} // namespace

EvmStatus_t EvmEventPost(EvmConnection_t a_conn, EvmEvent_t a_event) {
    if (!isLive(a_event)) return EvmERROR_INVALID_ARGUMENT;
    if (a_conn == nullptr) return postAlone(a_event);
    Pin connection;
    EvmStatus_t status = pinActive(a_conn, connection);
    if (status != EvmERROR_NONE) return status;
    if (connection->type != EvmCONNECTION_POST) return EvmERROR_INVALID_ARGUMENT;
    status = fillItems(*connection, a_event);
    return status == EvmERROR_NONE ? post(*connection, a_event) : status;
}
