#pragma once

#include "evm/libevm/evm.h"

#include <cstddef>
#include <cstdint>

/// The protocol between a program and the event daemon. Every message begins with a communication
/// header, which the send operation fills; a protocol header is a message of its own, and a body,
/// when there is one, the message after it.

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

struct EvmCommHead_t {
    EvmCommunicationHeader_t clschdr;
    std::uint16_t ident;      ///< COMM_IDENT
    std::uint16_t version;    ///< COMM_VERSION
    std::uint32_t type;       ///< EvmCommType_t
    std::uint32_t flags;      ///< depend on the type
    std::uint32_t magic;      ///< COMM_MAGIC
    std::uint64_t headerData; ///< depends on the type
    std::uint32_t bodySize;   ///< of the message that follows; 0 for none
    std::uint32_t sessionID;  ///< given by the daemon in its connect response; 0 before
    std::uint32_t reserved_1_32;
    std::uint32_t alignment;
};
static_assert(sizeof(EvmCommHead_t) == 88 && offsetof(EvmCommHead_t, headerData) == 64);

namespace evm {

inline constexpr std::uint16_t COMM_IDENT = 104;
inline constexpr std::uint16_t COMM_VERSION = 3;
inline constexpr std::uint32_t COMM_MAGIC = 0x01020304;

} // namespace evm
