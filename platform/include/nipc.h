#pragma once

#include "platform/include/identity.h"

#include <cstddef>
#include <cstdint>

/// NIPC: whole messages between processes, one at a time, over the same sockets and in the same
/// framing as CLSC (a message's first 4 bytes, little-endian, are its whole length).
///
/// Objects are made by the operation named after them and given back with nipcDestroyF. An endpoint
/// is sent on by one thread and received from by one at a time; any number may wait on it, and
/// nipcPostF and nipcDisconnectF may be called from any thread. Nobody may use an object while or
/// after it is destroyed. The library and its contexts may be used from any thread.
///
/// Operations return a nipc_result; out-parameters are null unless it is NIPC_OK. The last
/// parameter names the caller in the diagnostic log, where every failure leaves a line.

/// Who calls an operation.
struct nipc_caller {
    const char* function;
    const char* file;
    int line;

    /// As a default argument: the place of the call.
    static constexpr nipc_caller here(const char* function = __builtin_FUNCTION(),
                                      const char* file = __builtin_FILE(),
                                      int line = __builtin_LINE()) {
        return {function, file, line};
    }
};

enum nipc_result : int {
    NIPC_OK = 0,
    NIPC_TIMEOUT = 1,
    NIPC_POSTED = 2,       ///< nipcPostF ended the wait
    NIPC_DISCONNECTED = 3, ///< the peer ended between messages
    NIPC_CLOSED = 4,       ///< nipcDisconnectF was called here
    NIPC_LOST = 5,         ///< ended inside a message, or the peer sent nonsense or stalled
    NIPC_NO_MEMORY = 6,    ///< out of memory or descriptors
    NIPC_FAILED = 7,       ///< everything else: misuse, a bad address, nobody there
    NIPC_IN_USE = 8,       ///< somebody alive listens at the address
};

enum nipc_request : int { NIPC_REQUEST_RECEIVE = 1 };

enum nipc_option : unsigned {
    NIPC_OPTION_LISTEN = 0x1, ///< a listening endpoint, which has a name
    /// An authenticated client: connects only to a process of the superuser, of its own user or of
    /// the owner of runtime_dir.
    NIPC_OPTION_AUTHENTICATED = 0x2,
};

/// A message is never shorter than its header; the longest is a bound against lying lengths.
inline constexpr std::uint32_t NIPC_MIN_MESSAGE = 48;
inline constexpr std::uint32_t NIPC_MAX_MESSAGE = 64U * 1024 * 1024;
/// Longest address or endpoint name, with its NUL.
inline constexpr std::size_t NIPC_ADDRESS_SIZE = 512;

/// What all objects are; only nipcDestroyF takes one as such.
struct nipcObj {
    nipcObj() = default;
    virtual ~nipcObj() = default;
    nipcObj(const nipcObj&) = delete;
    nipcObj& operator=(const nipcObj&) = delete;
};
struct nipcCtx;
struct nipcEndp;
struct nipcAddr;

/// What a wait tells of the receive request.
struct nipcReqInfo {
    nipc_request type;
    nipc_result result; ///< what the wait returned
    void* buffer;       ///< the message, kept until nipcReleaseBufferF; null unless NIPC_OK
    std::uint32_t length;
};

/// Starts and stops the library, counted. Starting fails when node.conf cannot be used.
nipc_result nipcInitializeF(nipc_caller caller = nipc_caller::here());
void nipcShutdownF(nipc_caller caller = nipc_caller::here());

/// A context, from which endpoints and addresses are made and which outlives them.
nipc_result nipcContextF(nipcCtx** context, nipc_caller caller = nipc_caller::here());
/// Destroys an object of any kind; null is allowed. An endpoint is disconnected.
void nipcDestroyF(nipcObj* object, nipc_caller caller = nipc_caller::here());
void nipcDestroyF(nipcCtx* context, nipc_caller caller = nipc_caller::here());
void nipcDestroyF(nipcEndp* endpoint, nipc_caller caller = nipc_caller::here());
void nipcDestroyF(nipcAddr* address, nipc_caller caller = nipc_caller::here());

/// An endpoint. `name` is the address at which a listening endpoint will listen, with or without
/// its "clsc://"; null for one that connects.
nipc_result nipcEndpointF(nipcCtx* context, nipcEndp** endpoint, const char* name, unsigned options,
                          nipc_caller caller = nipc_caller::here());
/// Resolves an address; looking up a host by name may block as long as the system's resolver does.
nipc_result nipcAddressF(nipcCtx* context, const char* text, nipcAddr** address,
                         nipc_caller caller = nipc_caller::here());

/// Connects within node.conf's `message_time`, once for each endpoint.
nipc_result nipcConnectSyncF(nipcEndp* endpoint, const nipcAddr* address,
                             nipc_caller caller = nipc_caller::here());
/// Listens at the endpoint's name. A stale endpoint of a dead process is replaced, a live one is
/// NIPC_IN_USE. Without a PORT any free one is taken. An ipc endpoint is open to all local users.
nipc_result nipcListenF(nipcEndp* endpoint, nipc_caller caller = nipc_caller::here());
/// Waits for a connection and makes an endpoint of it; NIPC_POSTED and NIPC_CLOSED end the wait.
/// Lack of descriptors is waited out.
nipc_result nipcAcceptSyncF(nipcEndp* listener, nipcEndp** endpoint,
                            nipc_caller caller = nipc_caller::here());
/// Ends everything that is blocked on the endpoint, for good, and takes a listener's address away.
/// Never blocks. A second call is NIPC_CLOSED.
nipc_result nipcDisconnectF(nipcEndp* endpoint, nipc_caller caller = nipc_caller::here());

/// Sends one message of `length` bytes, which must be what its first 4 bytes say, else NIPC_FAILED
/// and nothing is sent. All of it is sent within node.conf's `message_time`, else NIPC_LOST.
nipc_result nipcSendSyncF(nipcEndp* endpoint, const void* message, std::size_t length,
                          nipc_caller caller = nipc_caller::here());
/// Waits until a message has come whole, at most `timeout_ms` (negative: without limit) for its
/// first byte; once that is there, the rest must come within `message_time`. The message stays, and
/// further waits tell of the same one, until it is released. A signal does not end the wait.
nipc_result nipcWaitF(nipcEndp* endpoint, int timeout_ms, nipcReqInfo* info,
                      nipc_caller caller = nipc_caller::here());
/// Gives a received message back; the buffer must be the one that the last wait told of.
nipc_result nipcReleaseBufferF(nipcEndp* endpoint, void* buffer,
                               nipc_caller caller = nipc_caller::here());
/// Ends the wait or accept that is under way on the endpoint, or else the next one.
nipc_result nipcPostF(nipcEndp* endpoint, nipc_caller caller = nipc_caller::here());

/// Longest message that will be received, at most and at first NIPC_MAX_MESSAGE; a longer one is
/// refused before memory is taken for it, and the connection is NIPC_LOST.
nipc_result nipcLimitF(nipcEndp* endpoint, std::uint32_t longest,
                       nipc_caller caller = nipc_caller::here());
/// An attribute as text; its buffer is emptied on failure. "name": the endpoint's own address with
/// "clsc://", including a port that the system chose.
nipc_result nipcGetAttributeStringF(nipcEndp* endpoint, const char* attribute, char* buffer,
                                    std::size_t size, nipc_caller caller = nipc_caller::here());
/// The process and effective user at the other end of a connected ipc endpoint, at the time it
/// connected, as the kernel knows them; NIPC_FAILED for a network peer. Either may be null.
nipc_result nipcGetPeerF(nipcEndp* endpoint, scls_pid* process, scls_user_id* user,
                         nipc_caller caller = nipc_caller::here());
