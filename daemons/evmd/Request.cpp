#include "daemons/evmd/Request.h"

#include "evm/libevm/exchange.h"
#include "platform/include/nipc.h"

namespace evmd {

namespace {

constexpr std::size_t CONNECT_BODY_MAX = evm::CONNECT_FIXED_SIZE + evm::SERVICE_NAME_MAX;

bool isPossibleBody(std::uint32_t size) {
    return size >= NIPC_MIN_MESSAGE && size <= evm::BODY_MAX;
}

bool mayPassOver(std::uint32_t size) {
    return size == 0 || (size >= NIPC_MIN_MESSAGE && size <= PASSED_BODY_MAX);
}

bool speaksForItself(const evm::ConnectRequest& request, const Peer& peer) {
    return scls_pid_value(&request.process) == scls_pid_value(&peer.process) &&
           scls_iddb_compare_user_id(&request.user, &peer.user) == 0;
}

} // namespace

std::uint32_t judgeConnectHeader(evm::Bytes message, EvmCommHead_t& head) {
    const EvmStatus_t status = evm::decodeHeader(message, head);
    if (status != EvmERROR_NONE && status != EvmERROR_PROTOCOL_MISMATCH)
        return EvmCOMM_FLAG_INVALID;
    if (head.version != evm::COMM_VERSION) return EvmCOMM_FLAG_INVALID_VALUE;
    const bool sound = head.type == EvmCOMM_CONNECT_REQ && head.sessionID == 0 &&
                       head.bodySize >= evm::CONNECT_FIXED_SIZE &&
                       head.bodySize <= CONNECT_BODY_MAX;
    if (!sound) return EvmCOMM_FLAG_INVALID;
    return 0;
}

std::uint32_t judgeConnectBody(evm::Bytes message, const Peer& peer) {
    evm::ConnectRequest request;
    if (evm::decodeConnect(message, request) != EvmERROR_NONE) return EvmCOMM_FLAG_INVALID;
    const bool granted = speaksForItself(request, peer) && request.kind == evm::ConnectKind::POST;
    if (!granted) return EvmCOMM_FLAG_REFUSED;
    return 0;
}

Request judgeRequest(evm::Bytes message, std::uint32_t sessionId, EvmCommHead_t& head) {
    const bool sound = evm::decodeHeader(message, head) == EvmERROR_NONE &&
                       head.version == evm::COMM_VERSION && head.sessionID == sessionId;
    if (!sound) return Request::FAULT;
    switch (head.type) {
    case EvmCOMM_POST_REQ:
        return isPossibleBody(head.bodySize) ? Request::POST : Request::FAULT;
    case EvmCOMM_FLUSH_COM:
    case EvmCOMM_SET_SQUELCH_COM:
        return mayPassOver(head.bodySize) ? Request::PASS_OVER : Request::FAULT;
    case EvmCOMM_DISCONNECT:
        return Request::END;
    default:
        return Request::FAULT;
    }
}

std::uint32_t judgeRecord(evm::Bytes message, std::uint32_t longest, EventPointer& event) {
    if (message.size() > longest) return EvmCOMM_FLAG_REJECTED;
    const auto type =
        evm::load<std::uint16_t>(message, offsetof(EvmEventHead_t, control.blocktype));
    if (evm::controlSize(message) != message.size() || type != EvmDATABLOCK_EVENT)
        return EvmCOMM_FLAG_INVALID;
    EvmEvent_t made = nullptr;
    const EvmStatus_t status = evm::_evmEventWrap(message, &made);
    event.reset(made);
    if (status == EvmERROR_NO_MEMORY) return EvmCOMM_FLAG_NO_MEMORY;
    if (status != EvmERROR_NONE) return EvmCOMM_FLAG_INVALID;
    return 0;
}

} // namespace evmd
