#pragma once

#include "evm/libevm/evm.h"
#include "evm/libevm/heap.h"
#include "evm/libevm/record.h"
#include "platform/include/identity.h"

#include <array>
#include <cstddef>
#include <cstdint>
#include <string_view>

/// The protocol between a program and the event daemon, for the event library and the daemon alone:
/// programs use evm.h.
///
/// Every message begins with a communication header, which the send operation fills; a protocol
/// header is a message of its own, and a body, when there is one, the message after it. Numbers lie
/// in the host's byte order, little-endian.

/// Frozen: both sides know them.
enum EvmCommType_t : std::uint32_t {
    EvmCOMM_NONE = 0,
    EvmCOMM_CONNECT_REQ = 1,
    EvmCOMM_CONNECT_RSP = 2,
    EvmCOMM_AUTHENT_REQ = 3,
    EvmCOMM_AUTHENT_RSP = 4,
    EvmCOMM_SYNCHRO_REQ = 5,
    EvmCOMM_SYNCHRO_RSP = 6,
    EvmCOMM_SUBSCRIPTION_REQ = 7,
    EvmCOMM_SUBSCRIPTION_RSP = 8,
    EvmCOMM_POST_REQ = 9,
    EvmCOMM_POST_RSP = 10,
    EvmCOMM_NOTIFY = 11,
    EvmCOMM_FLAGS = 12,
    EvmCOMM_SET_SQUELCH_COM = 13,
    EvmCOMM_FLUSH_COM = 14,
    EvmCOMM_TEMPLATE_INFO_REQ = 15,
    EvmCOMM_TEMPLATE_INFO_RSP = 16,
    EvmCOMM_REGISTRATION_REQ = 17,
    EvmCOMM_REGISTRATION_RSP = 18,
    EvmCOMM_DISCONNECT = 19,
    EvmCOMM_HINT = 20,
    EvmCOMM_CESUBSCRIPTION_REQ = 21,
    EvmCOMM_CESUBSCRIPTION_RSP = 22,
    EvmCOMM_CEUNSUBSCRIBE_REQ = 23,
    EvmCOMM_CEUNSUBSCRIBE_RSP = 24,
};

/// Bits of EvmCommHead_t::flags; which of them count depends on the type. Frozen as well.
enum EvmCommFlag : std::uint32_t {
    EvmCOMM_FLAG_INVALID = 0x1,            ///< responses: what was sent is not valid
    EvmCOMM_FLAG_EVENTS_MISSED = 0x2,      ///< FLAGS
    EvmCOMM_FLAG_REJECTED = 0x4,           ///< POST_RSP
    EvmCOMM_FLAG_NO_SYNCHRONIZATION = 0x8, ///< SUBSCRIPTION_RSP
    EvmCOMM_FLAG_INVALID_VALUE = 0x10,     ///< acknowledgements
    EvmCOMM_FLAG_RESET_TO_FIRST = 0x20,    ///< TEMPLATE_INFO_RSP, REGISTRATION_RSP
    EvmCOMM_FLAG_NOT_PRESENT = 0x40,       ///< TEMPLATE_INFO_RSP, REGISTRATION_RSP
    EvmCOMM_FLAG_NO_MEMORY = 0x200,        ///< POST_RSP, TEMPLATE_INFO_RSP, REGISTRATION_RSP
    EvmCOMM_FLAG_KERNEL_OVERFLOW = 0x400,  ///< FLAGS
    EvmCOMM_FLAG_NO_RESPONSE = 0x800,      ///< POST_REQ: the poster wants none
    EvmCOMM_FLAG_REFUSED = 0x20000,        ///< acknowledgements
};

struct EvmCommHead_t {
    EvmCommunicationHeader_t clschdr;
    std::uint16_t ident;      ///< COMM_IDENT
    std::uint16_t version;    ///< COMM_VERSION
    std::uint32_t type;       ///< EvmCommType_t
    std::uint32_t flags;      ///< depend on the type
    std::uint32_t magic;      ///< COMM_MAGIC
    std::uint64_t headerData; ///< depends on the type; of a post its cookie, which is sent back
    std::uint32_t bodySize;   ///< of the message that follows; 0 for none
    std::uint32_t sessionID;  ///< given by the daemon in its connect response; 0 before
    std::uint32_t reserved_1_32;
    std::uint32_t alignment;
};
static_assert(sizeof(EvmCommHead_t) == 88 && offsetof(EvmCommHead_t, headerData) == 64);

/// Begins the body of a connect request. The process identity, the user identity and the service's
/// name without a NUL follow.
struct EvmConnectHead_t {
    EvmCommunicationHeader_t clschdr;
    std::uint32_t kind; ///< evm::ConnectKind
    std::uint32_t serviceLength;
};
static_assert(sizeof(EvmConnectHead_t) == 56);

namespace evm {

inline constexpr std::uint16_t COMM_IDENT = 104;
inline constexpr std::uint16_t COMM_VERSION = 3;
inline constexpr std::uint32_t COMM_MAGIC = 0x01020304;
inline constexpr std::size_t COMM_HEADER_SIZE = sizeof(EvmCommHead_t);
/// The body of a connect request without a service's name.
inline constexpr std::size_t CONNECT_FIXED_SIZE =
    sizeof(EvmConnectHead_t) + sizeof(scls_pid) + sizeof(scls_user_id);
/// Longest name of a service: far beyond any, so that a connect request stays a small message.
inline constexpr std::size_t SERVICE_NAME_MAX = 255;
/// Longest message that a request's body can be, whatever its type.
inline constexpr std::size_t BODY_MAX = RECORD_MAX;

/// Of which kind a connection is, in a connect request.
enum class ConnectKind : std::uint32_t { POST = 1, LISTEN = 2, SERVICE = 3 };

struct ConnectRequest {
    ConnectKind kind = ConnectKind::POST;
    scls_pid process{};
    scls_user_id user{};      ///< as the client says; who it is the kernel tells
    std::string_view service; ///< of a service connection; after decoding inside the message
};

/// A protocol header as it is sent: identifiers and communication header filled in.
std::array<std::byte, COMM_HEADER_SIZE> encodeHeader(EvmCommType_t type, std::uint32_t flags,
                                                     std::uint64_t headerData,
                                                     std::uint32_t bodySize,
                                                     std::uint32_t sessionId);
/// EvmERROR_INVALID_MESSAGE when the message is not of a header's size, EvmERROR_PROTOCOL when its
/// identifiers are none, EvmERROR_PROTOCOL_MISMATCH for a version below 1; `head` is set unless the
/// size is wrong. Neither the type nor the body's size is judged.
EvmStatus_t decodeHeader(Bytes message, EvmCommHead_t& head);

/// A connect request's body, communication header filled in; null without memory or when the
/// service's name is too long. `size` is its length and the header's bodySize.
HeapPtr<std::byte> encodeConnect(const ConnectRequest& request, std::size_t& size);
/// EvmERROR_INVALID_MESSAGE when lengths do not agree, EvmERROR_INVALID_VALUE for an unknown kind,
/// a service's name that is empty, too long or holds a NUL, or a name where none belongs.
EvmStatus_t decodeConnect(Bytes message, ConnectRequest& request);

} // namespace evm
