#pragma once

#include "daemons/evmd/Writer.h"
#include "evm/libevm/protocol.h"
#include "platform/include/identity.h"

#include <cstdint>

/// Judging what a client sends: pure functions over the bytes of one message.
namespace evmd {

/// Who is at the other end of a connection, as the kernel knows it.
struct Peer {
    scls_pid process{};
    scls_user_id user{};
};

/// Longest body of a request that is passed over.
inline constexpr std::uint32_t PASSED_BODY_MAX = 64 * 1024;

/// The first message of a client, which asks for a connection: the flags of a response that refuses
/// it (EvmCommFlag), 0 when its body may come. A version other than ours is an invalid value.
std::uint32_t judgeConnectHeader(evm::Bytes message, EvmCommHead_t& head);

/// The body of that request, likewise. Clients that say who they are must be who they say. There is
/// nothing to listen to here and there are no services: only connections for posting are granted.
std::uint32_t judgeConnectBody(evm::Bytes message, const Peer& peer);

enum class Request {
    POST,      ///< the record follows
    PASS_OVER, ///< nothing to do; a body may follow
    END,       ///< the client takes its leave
    FAULT,     ///< not what a connected client may send: nothing after it can be trusted
};

/// A further message of a client that was given a session id.
Request judgeRequest(evm::Bytes message, std::uint32_t sessionId, EvmCommHead_t& head);

/// Takes the record of a post as an event: the flags of the response, 0 and an event when it can be
/// stored. Only event blocks can: a file with others in it could not be read.
std::uint32_t judgeRecord(evm::Bytes message, std::uint32_t longest, EventPointer& event);

} // namespace evmd
