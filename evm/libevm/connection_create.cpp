#include "evm/libevm/connection.h"
#include "evm/libevm/daemon_address.h"
#include "evm/libevm/host_address.h"
#include "evm/libevm/live_handles.h"
#include "evm/libevm/poster.h"
#include "platform/include/process.h"

#include <cstdio>
#include <new>

using namespace evm;

namespace {

/// What EvmConnCreate is asked for.
struct Wish {
    EvmConnectionType_t type;
    EvmResponseMode_t mode;
    const EvmTransport_t* transport;
    EvmCallback_t callback;
    EvmCallbackArg_t callbackArg;
};

bool isSound(const Wish& wish) {
    if (wish.mode > EvmRESPONSE_IGNORE || wish.type > EvmCONNECTION_SERVICE) return false;
    if (wish.mode == EvmRESPONSE_CALLBACK && wish.callback == nullptr) return false;
    if (wish.type == EvmCONNECTION_LISTEN && wish.mode != EvmRESPONSE_CALLBACK) return false;
    return wish.transport == nullptr || wish.transport->type <= EvmTRANSPORT_TCPIP;
}

constexpr std::uint16_t networkOrder(std::uint16_t value) {
    return static_cast<std::uint16_t>(value >> 8 | value << 8); // the host is little-endian
}

EvmStatus_t initialise(EvmConnection_s& connection, const Wish& wish) {
    connection.type = wish.type;
    connection.mode = wish.mode;
    connection.callback = wish.callback;
    connection.callbackArg = wish.callbackArg;
    if (wish.transport != nullptr) connection.transportType = wish.transport->type;
    connection.portNumber = networkOrder(DEFAULT_PORT);
    connection.magic = CONNECTION_MAGIC;
    clshinit();
    const bool started = cls_thrInitctx() == 0 && cls_thrMxinit(&connection.conn_mx) == 0 &&
                         cls_thrCvtinit(&connection.conn_condv) == 0;
    return started ? EvmERROR_NONE : EvmERROR_NO_MEMORY;
}

EvmStatus_t identify(EvmConnection_s& connection) {
    Poster poster;
    const EvmStatus_t status = identifyPoster(poster);
    if (status != EvmERROR_NONE) return status;
    connection.pid = poster.process;
    connection.euid = heapArray<scls_user_id>(1);
    if (connection.euid == nullptr) return EvmERROR_NO_MEMORY;
    *connection.euid = poster.user;
    return EvmERROR_NONE;
}

EvmStatus_t setAddress(EvmConnection_s& connection, const char* given) {
    char byDefault[DAEMON_ADDRESS_SIZE] = "";
    if (given == nullptr && !_evmDefaultAddress(byDefault, sizeof byDefault))
        return EvmERROR_INVALID_ARGUMENT;
    const std::string_view address = given != nullptr ? given : byDefault;
    if (address.size() >= DAEMON_ADDRESS_SIZE) return EvmERROR_INVALID_ARGUMENT;
    connection.socketName = heapString(address);
    return connection.socketName != nullptr ? EvmERROR_NONE : EvmERROR_NO_MEMORY;
}

/// Whether the name service knows the host.
bool isKnownHost(const EvmCon_s& con, const char* host, std::uint16_t port) {
    char address[NIPC_ADDRESS_SIZE];
    const int length = std::snprintf(address, sizeof address,
                                     "(ADDRESS=(PROTOCOL=tcp)(HOST=%s)(PORT=%u))", host, port);
    if (length < 0 || static_cast<std::size_t>(length) >= sizeof address) return false;
    nipcAddr* found = nullptr;
    nipcAddressF(con.ctx, address, &found);
    nipcDestroyF(found);
    return found != nullptr;
}

/// Events travel over the local transport alone; still, what is wrong with the host is told first.
EvmStatus_t refuseNetwork(EvmConnection_s& connection, const EvmTransport_t& transport) {
    const char* const host = transport.info.tcpip.hostName;
    const std::int32_t port = transport.info.tcpip.portNumber;
    if (host == nullptr || port < 0 || port > UINT16_MAX) return EvmERROR_INVALID_ARGUMENT;
    if (port != 0) connection.portNumber = networkOrder(static_cast<std::uint16_t>(port));
    if (_evmDottedAddress(host, connection.hostAddr)) return EvmERROR_INVALID_ARGUMENT;
    const bool known = isKnownHost(*connection.con, host,
                                   port != 0 ? static_cast<std::uint16_t>(port) : DEFAULT_PORT);
    return known ? EvmERROR_INVALID_ARGUMENT : EvmERROR_INVALID_VALUE;
}

EvmStatus_t connect(EvmConnection_s& connection, const EvmTransport_t* transport) {
    const bool network = connection.transportType == EvmTRANSPORT_TCPIP;
    EvmStatus_t status = EvmERROR_NONE;
    if (!network)
        status = setAddress(connection,
                            transport != nullptr ? transport->info.domainSocket.name : nullptr);
    if (status != EvmERROR_NONE) return status;
    if (EvmConCreate(&connection.con) != EvmERROR_NONE) return EvmERROR_RESOURCE;
    if (network) return refuseNetwork(connection, *transport);
    status = EvmConConnect(connection.con, connection.socketName.get(), EvmTRUE);
    if (status != EvmERROR_NONE) return EvmERROR_CONNECT;
    connection.connect_state = EvmCONNECT_SETUP;
    return EvmERROR_NONE;
}

ConnectKind kindOf(EvmConnectionType_t type) {
    return static_cast<ConnectKind>(type + 1U);
}

EvmStatus_t handshake(EvmConnection_s& connection) {
    std::size_t size = 0;
    const HeapPtr<std::byte> body =
        encodeConnect({kindOf(connection.type), connection.pid, *connection.euid, {}}, size);
    if (body == nullptr) return EvmERROR_NO_MEMORY;
    expectAnswer(connection);
    EvmStatus_t status =
        sendRequest(connection, EvmCOMM_CONNECT_REQ, 0, 0, std::span(body.get(), size));
    if (status != EvmERROR_NONE) return status;
    connection.connect_state = EvmCONNECT_REQUEST_SENT;
    connection.connect_state = EvmCONNECT_AUTHENTICATED;
    status = awaitAnswer(connection);
    if (status == EvmERROR_NONE) connection.connect_state = EvmCONNECT_COMPLETED;
    return status;
}

/// The connection in its owner's hands, live.
EvmStatus_t create(const Wish& wish, EvmConnection_t* out) {
    const auto made = std::make_shared<EvmConnection_s>();
    EvmStatus_t status = initialise(*made, wish);
    if (status == EvmERROR_NONE) status = identify(*made);
    if (status == EvmERROR_NONE) status = connect(*made, wish.transport);
    // Callbacks may come during the handshake and use the handle.
    if (status == EvmERROR_NONE) {
        made->self = made;
        if (!addLive(made.get())) {
            made->self = nullptr;
            return EvmERROR_NO_MEMORY;
        }
        status = handshake(*made);
        if (status != EvmERROR_NONE) EvmConnDestroy(made.get());
    }
    if (status == EvmERROR_NONE) *out = made.get();
    return status;
}

} // namespace

EvmStatus_t EvmConnCreate(EvmConnectionType_t a_type, EvmResponseMode_t a_responseMode,
                          EvmTransport_t* a_transport, EvmCallback_t a_callback,
                          EvmCallbackArg_t a_callbackArg, EvmConnection_t* a_conn_p) {
    if (a_conn_p == nullptr) return EvmERROR_INVALID_ARGUMENT;
    *a_conn_p = nullptr;
    const Wish wish{a_type, a_responseMode, a_transport, a_callback, a_callbackArg};
    if (!isSound(wish)) return EvmERROR_INVALID_ARGUMENT;
    try {
        return create(wish, a_conn_p);
    } catch (const std::bad_alloc&) {
        return EvmERROR_NO_MEMORY;
    }
}

EvmStatus_t EvmConnCreateStep(EvmConnectionType_t a_type, EvmResponseMode_t a_responseMode,
                              EvmTransport_t* a_transport, EvmCallback_t a_callback,
                              EvmCallbackArg_t a_callbackArg, EvmConnection_t* a_conn_p) {
    return EvmConnCreate(a_type, a_responseMode, a_transport, a_callback, a_callbackArg, a_conn_p);
}
