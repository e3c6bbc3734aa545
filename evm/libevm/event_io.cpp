#include "evm/libevm/con.h"
#include "evm/libevm/exchange.h"

namespace evm {

EvmStatus_t _evmEventReceive(EvmCon_s& con, int timeout_ms, EvmEvent_t* event) {
    *event = nullptr;
    Bytes message;
    EvmStatus_t status = _evmConPeek(con, timeout_ms, message);
    if (status != EvmERROR_NONE) return status;
    status = _evmEventWrap(message, event);
    _evmConTake(con, message);
    return status;
}

namespace {

/// The first of a template's two messages: a record's header alone.
EvmStatus_t receiveHeader(EvmCon_s& con, int timeout_ms, EvmEventHead_t& header,
                          std::size_t& size) {
    Bytes message;
    EvmStatus_t status = _evmConPeek(con, timeout_ms, message);
    if (status != EvmERROR_NONE) return status;
    header = load<EvmEventHead_t>(message, 0);
    const bool whole = message.size() == HEADER_SIZE;
    status = whole ? _evmRecordSize(message, size) : EvmERROR_INVALID_VALUE;
    _evmConTake(con, message);
    return status == EvmERROR_NONE && size < HEADER_SIZE ? EvmERROR_INVALID_VALUE : status;
}

/// The record that the header and the second message make.
EvmStatus_t assemble(const EvmEventHead_t& header, std::size_t size, Bytes message,
                     EvmEvent_t* event) {
    constexpr std::size_t BODY_AT = sizeof(EvmCommunicationHeader_t);
    if (message.size() != BODY_AT + size - HEADER_SIZE) return EvmERROR_INVALID_VALUE;
    HeapPtr<std::byte> record = heapArray<std::byte>(size);
    if (record == nullptr) return EvmERROR_NO_MEMORY;
    store(std::span<std::byte>(record.get(), size), 0, header);
    if (size > HEADER_SIZE)
        std::memcpy(record.get() + HEADER_SIZE, message.data() + BODY_AT, size - HEADER_SIZE);
    return _evmEventAccept(std::move(record), size, event);
}

} // namespace

EvmStatus_t _evmTemplateReceive(EvmCon_s& con, int timeout_ms, EvmEvent_t* event) {
    *event = nullptr;
    EvmEventHead_t header{};
    std::size_t size = 0;
    EvmStatus_t status = receiveHeader(con, timeout_ms, header, size);
    if (status != EvmERROR_NONE) return status;
    Bytes message;
    status = _evmConPeek(con, timeout_ms, message);
    if (status != EvmERROR_NONE) return status;
    status = assemble(header, size, message, event);
    _evmConTake(con, message);
    return status;
}

} // namespace evm

using namespace evm;

EvmStatus_t EvmEventWrite(EvmCon_t con, EvmEvent_t p_ev_p) {
    EvmSize_t length = 0;
    void* const record = EvmEventWriteBuf(&length, p_ev_p);
    return record != nullptr ? EvmConSend(con, record, length) : EvmERROR_INVALID_ARGUMENT;
}

void* EvmEventWriteBuf(EvmSize_t* plen, EvmEvent_t p_ev_p) {
    if (plen != nullptr) *plen = 0;
    if (!isLive(p_ev_p)) return nullptr;
    const Bytes record = _evmEventPrepare(*p_ev_p);
    if (plen != nullptr) *plen = static_cast<EvmSize_t>(record.size());
    return p_ev_p->head_p;
}

EvmStatus_t EvmEventRead(EvmCon_t con, EvmEvent_t* p_ev_p, EvmSize_t msglen) {
    if (p_ev_p == nullptr) return EvmERROR_INVALID_ARGUMENT;
    *p_ev_p = nullptr;
    if (!isLive(con)) return EvmERROR_INVALID_ARGUMENT;
    // The transport holds the message whole, so the expected length only tells what cannot be.
    return msglen <= RECORD_MAX ? _evmEventReceive(*con, NO_LIMIT, p_ev_p) : EvmERROR_INVALID_VALUE;
}

EvmStatus_t EvmTemplateEventRead(EvmCon_t con, EvmEvent_t* p_ev_p) {
    if (p_ev_p == nullptr) return EvmERROR_INVALID_ARGUMENT;
    *p_ev_p = nullptr;
    return isLive(con) ? _evmTemplateReceive(*con, NO_LIMIT, p_ev_p) : EvmERROR_INVALID_ARGUMENT;
}
