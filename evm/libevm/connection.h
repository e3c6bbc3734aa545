#pragma once

#include "evm/libevm/con.h"
#include "evm/libevm/evm.h"
#include "evm/libevm/heap.h"
#include "evm/libevm/message_queue.h"
#include "evm/libevm/posted_events.h"
#include "evm/libevm/protocol.h"
#include "platform/include/identity.h"
#include "platform/include/threads.h"

#include <atomic>
#include <memory>
#include <thread>

/// What an EvmConnection_t points at. Everything that changes after the handshake is guarded by
/// conn_mx, except what is atomic; the flags that name a turn are taken with evm::Turn.
struct EvmConnection_s {
    EvmConnection_s() = default;
    ~EvmConnection_s();
    EvmConnection_s(const EvmConnection_s&) = delete;
    EvmConnection_s& operator=(const EvmConnection_s&) = delete;

    EvmConnectionType_t type{};
    EvmResponseMode_t mode{};
    EvmTransportType_t transportType{};
    EvmCallback_t callback = nullptr;
    EvmCallbackArg_t callbackArg = nullptr;
    std::uint16_t portNumber = 0; ///< network order
    std::uint32_t hostAddr = 0;
    evm::HeapPtr<char> socketName; ///< the daemon's address
    std::int32_t fdRead = -1;
    std::int32_t fdWrite = -1;
    EvmBoolean_t ackPending = EvmFALSE;
    EvmConnectionState_t connect_state = EvmCONNECT_NONE;
    std::uint32_t magic = 0; ///< CONNECTION_MAGIC while live, 0 after destroy
    scls_pid pid{};
    evm::HeapPtr<scls_user_id> euid;
    evm::HeapPtr<char> userName; ///< of euid, once it was looked up
    EvmItemMask_t postItems = 0;
    std::atomic<bool> disabled{false};
    EvmBoolean_t checksumUsed = EvmTRUE;
    EvmBoolean_t postComponentsMasked = EvmFALSE;
    EvmBoolean_t isClusterAlias = EvmFALSE;
    EvmBoolean_t remoteIsClusterMember = EvmFALSE;
    evm::HeapPtr<EvmIpAddress_t> clusterMembers;
    std::size_t clusterMembersSize = 0; ///< addresses
    std::uint32_t realHostAddr = 0;
    evm::HeapPtr<char> hostName;
    std::uint32_t localHostAddr = 0;
    evm::HeapPtr<char> localHostName;
    EvmBoolean_t nonBlocking = EvmFALSE;
    _evmIoMsgQueue_t msgQueue{};
    std::uint16_t daemonCommVrsn = 0;
    cls_thrMx conn_mx = nullptr;
    cls_thrCvt conn_condv = nullptr;
    EvmBoolean_t channel_inuse = EvmFALSE; ///< turn: sends a request
    std::uint32_t sessionID = 0;
    std::uint32_t CESubscriptionCount = 0;
    EvmCon_t con = nullptr;

    EvmBoolean_t reader_inuse = EvmFALSE;   ///< turn: takes a message and its body
    EvmBoolean_t exchange_inuse = EvmFALSE; ///< turn: has sent a request and waits for its answer
    std::thread::id exchangeOwner;
    EvmStatus_t ackStatus = EvmERROR_NONE; ///< what the answer said
    evm::PostedEvents posted;
    std::shared_ptr<EvmConnection_s> self; ///< the owner's share, until EvmConnDestroy
};

namespace evm {

inline constexpr std::uint32_t CONNECTION_MAGIC = 0xABACDABA;
inline constexpr std::uint16_t DEFAULT_PORT = 6190;

/// A live connection that stays valid while this exists, even when it is destroyed meanwhile; null
/// for a dead handle.
using Pin = std::shared_ptr<EvmConnection_s>;
Pin pinned(EvmConnection_t connection);
/// Likewise, for what needs a working one: EvmERROR_INVALID_ARGUMENT or EvmERROR_CONNECTION_LOST.
EvmStatus_t pinActive(EvmConnection_t connection, Pin& pin);

/// Locks the connection's state for a scope.
class ConnectionLock {
public:
    explicit ConnectionLock(EvmConnection_s& connection) : m_mutex(connection.conn_mx) {
        cls_thrMxlock(&m_mutex);
    }
    ~ConnectionLock() { cls_thrMxunlock(&m_mutex); }
    ConnectionLock(const ConnectionLock&) = delete;
    ConnectionLock& operator=(const ConnectionLock&) = delete;

private:
    cls_thrMx m_mutex;
};

/// Of the threads that want to do one thing on the connection, one does it for a scope. The state
/// is not locked meanwhile.
class Turn {
public:
    using Flag = EvmBoolean_t EvmConnection_s::*;

    Turn(EvmConnection_s& connection, Flag flag);
    ~Turn();
    Turn(const Turn&) = delete;
    Turn& operator=(const Turn&) = delete;

private:
    EvmConnection_s& m_connection;
    Flag m_flag;
};

/// From now on the connection answers EvmERROR_CONNECTION_LOST; every wait on it ends.
void disable(EvmConnection_s& connection);

/// Like EvmConnWait, in milliseconds (negative: without limit); a lost transport disables.
EvmStatus_t awaitMessage(EvmConnection_s& connection, int timeout_ms);

/// Marks that an answer is waited for, before the request is sent.
void expectAnswer(EvmConnection_s& connection);
void forgetAnswer(EvmConnection_s& connection);
/// Dispatches messages until the answer has come; its status.
EvmStatus_t awaitAnswer(EvmConnection_s& connection);

/// Takes one message, if there is one, and does what it asks for.
EvmStatus_t dispatchOne(EvmConnection_s& connection);

/// Sends a protocol header and its body in one go. EvmERROR_NO_MEMORY only when nothing was sent;
/// other failures are EvmERROR_CONNECTION_LOST and disable.
EvmStatus_t sendRequest(EvmConnection_s& connection, EvmCommType_t type, std::uint32_t flags,
                        std::uint64_t headerData, std::span<std::byte> body);
/// Sends the unsent part of every queued message; a failure is as above.
EvmStatus_t flushQueue(EvmConnection_s& connection);

} // namespace evm
