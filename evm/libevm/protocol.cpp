#include "evm/libevm/protocol.h"

#include "evm/libevm/exchange.h"

namespace evm {

namespace {

constexpr std::size_t PROCESS_AT = sizeof(EvmConnectHead_t);
constexpr std::size_t USER_AT = PROCESS_AT + sizeof(scls_pid);
/// The version from which on the header is as it is here.
constexpr std::uint16_t FIRST_VERSION = 1;

EvmStatus_t checkService(const ConnectRequest& request) {
    const std::string_view name = request.service;
    if (request.kind != ConnectKind::SERVICE)
        return name.empty() ? EvmERROR_NONE : EvmERROR_INVALID_VALUE;
    const bool sound = !name.empty() && name.size() <= SERVICE_NAME_MAX &&
                       name.find('\0') == std::string_view::npos;
    return sound ? EvmERROR_NONE : EvmERROR_INVALID_VALUE;
}

} // namespace

std::array<std::byte, COMM_HEADER_SIZE> encodeHeader(EvmCommType_t type, std::uint32_t flags,
                                                     std::uint64_t headerData,
                                                     std::uint32_t bodySize,
                                                     std::uint32_t sessionId) {
    EvmCommHead_t head{};
    head.ident = COMM_IDENT;
    head.version = COMM_VERSION;
    head.type = type;
    head.flags = flags;
    head.magic = COMM_MAGIC;
    head.headerData = headerData;
    head.bodySize = bodySize;
    head.sessionID = sessionId;
    std::array<std::byte, COMM_HEADER_SIZE> message{};
    store(std::span<std::byte>(message), 0, head);
    _evmHeaderFill(message);
    return message;
}

EvmStatus_t decodeHeader(Bytes message, EvmCommHead_t& head) {
    if (message.size() != COMM_HEADER_SIZE) return EvmERROR_INVALID_MESSAGE;
    head = load<EvmCommHead_t>(message, 0);
    if (head.ident != COMM_IDENT || head.magic != COMM_MAGIC) return EvmERROR_PROTOCOL;
    return head.version >= FIRST_VERSION ? EvmERROR_NONE : EvmERROR_PROTOCOL_MISMATCH;
}

HeapPtr<std::byte> encodeConnect(const ConnectRequest& request, std::size_t& size) {
    size = 0;
    if (request.service.size() > SERVICE_NAME_MAX) return nullptr;
    const std::size_t whole = CONNECT_FIXED_SIZE + request.service.size();
    HeapPtr<std::byte> made = heapArray<std::byte>(whole);
    if (made == nullptr) return nullptr;
    const std::span<std::byte> message(made.get(), whole);
    EvmConnectHead_t head{};
    head.kind = static_cast<std::uint32_t>(request.kind);
    head.serviceLength = static_cast<std::uint32_t>(request.service.size());
    store(message, 0, head);
    store(message, PROCESS_AT, request.process);
    store(message, USER_AT, request.user);
    if (!request.service.empty())
        std::memcpy(made.get() + CONNECT_FIXED_SIZE, request.service.data(),
                    request.service.size());
    _evmHeaderFill(message);
    size = whole;
    return made;
}

EvmStatus_t decodeConnect(Bytes message, ConnectRequest& request) {
    request = {};
    if (message.size() < CONNECT_FIXED_SIZE) return EvmERROR_INVALID_MESSAGE;
    const auto head = load<EvmConnectHead_t>(message, 0);
    const Bytes name = message.subspan(CONNECT_FIXED_SIZE);
    if (head.serviceLength != name.size()) return EvmERROR_INVALID_MESSAGE;
    const bool known = head.kind >= static_cast<std::uint32_t>(ConnectKind::POST) &&
                       head.kind <= static_cast<std::uint32_t>(ConnectKind::SERVICE);
    if (!known) return EvmERROR_INVALID_VALUE;
    request.kind = static_cast<ConnectKind>(head.kind);
    request.process = load<scls_pid>(message, PROCESS_AT);
    request.user = load<scls_user_id>(message, USER_AT);
    const void* const text = name.data();
    request.service = std::string_view(static_cast<const char*>(text), name.size());
    return checkService(request);
}

} // namespace evm
