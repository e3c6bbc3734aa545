#include "evm/libevm/con.h"

#include "evm/libevm/exchange.h"
#include "evm/libevm/live_handles.h"
#include "evm/libevm/nipc_context.h"
#include "platform/include/message_format.h"

#include <algorithm>
#include <cstdio>
#include <new>

using namespace evm;

namespace {

struct DestroyAddress {
    void operator()(nipcAddr* address) const { nipcDestroyF(address); }
};
using AddressPtr = std::unique_ptr<nipcAddr, DestroyAddress>;

/// An address as NIPC takes it. What does not fit is cut, and then is none.
class NipcAddress {
public:
    explicit NipcAddress(const char* address) {
        std::snprintf(m_text, sizeof m_text, "clsc://%s", address);
    }
    [[nodiscard]] const char* text() const { return m_text; }

private:
    char m_text[NIPC_ADDRESS_SIZE + 1];
};

EndpointPtr makeEndpoint(const EvmCon_s& con, const char* name, unsigned options) {
    nipcEndp* made = nullptr;
    nipcEndpointF(con.ctx, &made, name, options);
    return EndpointPtr(made);
}

AddressPtr resolve(const EvmCon_s& con, const char* address) {
    nipcAddr* made = nullptr;
    nipcAddressF(con.ctx, NipcAddress(address).text(), &made);
    return AddressPtr(made);
}

EvmStatus_t disconnect(nipcEndp* endpoint) {
    const bool ended = endpoint == nullptr || nipcDisconnectF(endpoint) == NIPC_OK;
    return ended ? EvmERROR_NONE : EvmERROR_PROTOCOL;
}

/// What receiving makes of the end of a wait.
EvmStatus_t receiveStatus(nipc_result result) {
    switch (result) {
    case NIPC_OK:
        return EvmERROR_NONE;
    case NIPC_TIMEOUT:
        return EvmERROR_WOULDBLOCK;
    case NIPC_DISCONNECTED:
    case NIPC_CLOSED:
    case NIPC_LOST:
    case NIPC_FAILED:
        return EvmERROR_EOF;
    default:
        return EvmERROR_READ;
    }
}

} // namespace

EvmCon_s::~EvmCon_s() {
    endpC.reset();
    endpS.reset();
    if (ctx != nullptr) _evmNipcRelease();
}

namespace evm {

bool isLive(EvmCon_t con) noexcept {
    return con != nullptr && isInLiveSet(con);
}

EvmStatus_t _evmConSend(EvmCon_s& con, std::span<std::byte> message) {
    if (con.endpC == nullptr) return EvmERROR_CONNECTION_LOST;
    _evmHeaderFill(message);
    switch (nipcSendSyncF(con.endpC.get(), message.data(), message.size())) {
    case NIPC_OK:
        return EvmERROR_NONE;
    case NIPC_NO_MEMORY:
        return EvmERROR_NO_MEMORY;
    default:
        return EvmERROR_CONNECTION_LOST;
    }
}

EvmStatus_t _evmConPeek(EvmCon_s& con, int timeout_ms, Bytes& message) {
    message = {};
    if (con.endpC == nullptr) return EvmERROR_READ;
    nipcReqInfo info{};
    bool posted = false;
    while (nipcWaitF(con.endpC.get(), timeout_ms, &info) == NIPC_POSTED) posted = true;
    if (posted) nipcPostF(con.endpC.get());
    const EvmStatus_t status = receiveStatus(info.result);
    if (status == EvmERROR_NONE)
        message = Bytes(static_cast<const std::byte*>(info.buffer), info.length);
    return status;
}

void _evmConTake(EvmCon_s& con, Bytes message) {
    void* const buffer = const_cast<std::byte*>(message.data());
    nipcReleaseBufferF(con.endpC.get(), buffer);
}

} // namespace evm

EvmStatus_t EvmConCreate(EvmCon_t* a_con_p) {
    if (a_con_p == nullptr) return EvmERROR_INVALID_ARGUMENT;
    *a_con_p = nullptr;
    std::unique_ptr<EvmCon_s> made(new (std::nothrow) EvmCon_s);
    if (made == nullptr) return EvmERROR_NO_MEMORY;
    made->ctx = _evmNipcAcquire();
    if (made->ctx == nullptr) return EvmERROR_RESOURCE;
    if (!addLive(made.get())) return EvmERROR_NO_MEMORY;
    *a_con_p = made.release();
    return EvmERROR_NONE;
}

EvmStatus_t EvmConDestroy(EvmCon_t a_con) {
    if (a_con == nullptr || !removeLive(a_con)) return EvmERROR_INVALID_ARGUMENT;
    const std::unique_ptr<EvmCon_s> owned(a_con);
    return EvmERROR_NONE;
}

EvmStatus_t EvmConConnect(EvmCon_t a_con, const char* a_addr_p, EvmBoolean_t a_useclsa) {
    if (!isLive(a_con) || a_addr_p == nullptr) return EvmERROR_INVALID_ARGUMENT;
    EndpointPtr endpoint =
        makeEndpoint(*a_con, nullptr, a_useclsa == EvmFALSE ? 0U : NIPC_OPTION_AUTHENTICATED);
    if (endpoint == nullptr) return EvmERROR_CONNECT;
    const AddressPtr address = resolve(*a_con, a_addr_p);
    if (address == nullptr) return EvmERROR_CONNECT;
    if (nipcConnectSyncF(endpoint.get(), address.get()) != NIPC_OK) return EvmERROR_CONNECT;
    a_con->endpC = std::move(endpoint);
    a_con->connected = true;
    return EvmERROR_NONE;
}

EvmStatus_t EvmConDisconnect(EvmCon_t a_con) {
    if (!isLive(a_con)) return EvmERROR_INVALID_ARGUMENT;
    a_con->connected = false;
    a_con->listening = false;
    const EvmStatus_t connected = disconnect(a_con->endpC.get());
    const EvmStatus_t listening = disconnect(a_con->endpS.get());
    return connected != EvmERROR_NONE ? connected : listening;
}

EvmStatus_t EvmConListen(EvmCon_t a_con, const char* a_addr_p) {
    if (!isLive(a_con) || a_addr_p == nullptr) return EvmERROR_INVALID_ARGUMENT;
    EndpointPtr endpoint = makeEndpoint(*a_con, NipcAddress(a_addr_p).text(), NIPC_OPTION_LISTEN);
    if (endpoint == nullptr || nipcListenF(endpoint.get()) != NIPC_OK) return EvmERROR_CONNECT;
    a_con->endpS = std::move(endpoint);
    a_con->listening = true;
    return EvmERROR_NONE;
}

EvmStatus_t EvmConAnswer(EvmCon_t a_con) {
    if (!isLive(a_con)) return EvmERROR_INVALID_ARGUMENT;
    nipcEndp* accepted = nullptr;
    if (nipcAcceptSyncF(a_con->endpS.get(), &accepted) != NIPC_OK) return EvmERROR_CONNECT;
    a_con->endpC.reset(accepted);
    a_con->connected = true;
    return EvmERROR_NONE;
}

EvmStatus_t EvmConSend(EvmCon_t a_con, void* a_msg_p, EvmSize_t a_msgl) {
    if (!isLive(a_con) || a_msg_p == nullptr || a_msgl < sizeof(EvmCommunicationHeader_t))
        return EvmERROR_INVALID_ARGUMENT;
    const EvmStatus_t status = _evmConSend(*a_con, {static_cast<std::byte*>(a_msg_p), a_msgl});
    return status == EvmERROR_NO_MEMORY ? EvmERROR_CONNECTION_LOST : status;
}

EvmStatus_t EvmConReceive(EvmCon_t a_con, void* a_msg_p, EvmSize_t a_msgl, EvmBoolean_t a_block) {
    if (!isLive(a_con) || (a_msg_p == nullptr && a_msgl != 0)) return EvmERROR_INVALID_ARGUMENT;
    Bytes message;
    const EvmStatus_t status = _evmConPeek(*a_con, a_block == EvmFALSE ? 0 : NO_LIMIT, message);
    if (status != EvmERROR_NONE) return status;
    const std::size_t length = std::min<std::size_t>(message.size(), a_msgl);
    if (length != 0) std::memcpy(a_msg_p, message.data(), length);
    if (length < message.size()) return EvmERROR_PARTIAL;
    _evmConTake(*a_con, message);
    return EvmERROR_NONE;
}

EvmStatus_t EvmConWait(EvmCon_t a_con, int a_timeout_ms) {
    if (!isLive(a_con)) return EvmERROR_INVALID_ARGUMENT;
    if (a_con->endpC == nullptr) return EvmERROR_CONNECTION_LOST;
    nipcReqInfo info{};
    switch (nipcWaitF(a_con->endpC.get(), a_timeout_ms, &info)) {
    case NIPC_OK:
        return EvmERROR_NONE;
    case NIPC_TIMEOUT:
        return EvmERROR_TIMEOUT;
    case NIPC_POSTED:
        return EvmERROR_SIGNAL;
    default:
        return EvmERROR_CONNECTION_LOST;
    }
}

EvmStatus_t EvmConPost(EvmCon_t a_con) {
    if (!isLive(a_con)) return EvmERROR_INVALID_ARGUMENT;
    nipcEndp* const waited = a_con->connected ? a_con->endpC.get() : a_con->endpS.get();
    const bool woken = waited != nullptr && nipcPostF(waited) == NIPC_OK;
    return woken ? EvmERROR_NONE : EvmERROR_PROTOCOL;
}

EvmBoolean_t EvmConIsConnected(EvmCon_t a_con) {
    return isLive(a_con) && a_con->connected ? EvmTRUE : EvmFALSE;
}

EvmBoolean_t EvmConIsListening(EvmCon_t a_con) {
    return isLive(a_con) && a_con->listening ? EvmTRUE : EvmFALSE;
}
