#include "evm/libevm/connection.h"

#include <bit>
#include <cstdint>

using namespace evm;

namespace {

using Handler = EvmStatus_t (*)(EvmConnection_s&, void*);

EvmStatus_t accept(EvmConnection_s& /*connection*/, void* /*argument*/) {
    return EvmERROR_NONE;
}

EvmStatus_t acceptArgument(EvmConnection_s& /*connection*/, void* argument) {
    return argument != nullptr ? EvmERROR_NONE : EvmERROR_INVALID_ARGUMENT;
}

template <EvmBoolean_t EvmConnection_s::*Field, EvmBoolean_t Value>
EvmStatus_t store(EvmConnection_s& connection, void* /*argument*/) {
    const ConnectionLock lock(connection);
    connection.*Field = Value;
    return EvmERROR_NONE;
}

template <EvmBoolean_t EvmConnection_s::*Field>
EvmStatus_t tell(EvmConnection_s& connection, void* argument) {
    if (argument == nullptr) return EvmERROR_INVALID_ARGUMENT;
    const ConnectionLock lock(connection);
    *static_cast<EvmBoolean_t*>(argument) = connection.*Field;
    return EvmERROR_NONE;
}

EvmStatus_t tellMembers(EvmConnection_s& connection, void* argument) {
    if (argument == nullptr) return EvmERROR_INVALID_ARGUMENT;
    auto** const members = static_cast<EvmIpAddress_t**>(argument);
    *members = nullptr;
    const ConnectionLock lock(connection);
    const std::size_t count = connection.clusterMembersSize;
    if (connection.clusterMembers == nullptr || count == 0) return EvmERROR_NONE;
    *members = heapArray<EvmIpAddress_t>(count).release();
    if (*members == nullptr) return EvmERROR_NO_MEMORY;
    std::memcpy(*members, connection.clusterMembers.get(), count * sizeof(EvmIpAddress_t));
    return EvmERROR_NONE;
}

EvmStatus_t setItems(EvmConnection_s& connection, void* argument) {
    const ConnectionLock lock(connection);
    connection.postItems = std::bit_cast<std::uintptr_t>(argument);
    connection.postComponentsMasked = EvmTRUE;
    return EvmERROR_NONE;
}

EvmStatus_t setDefaultItems(EvmConnection_s& connection, void* /*argument*/) {
    const ConnectionLock lock(connection);
    connection.postItems = 0;
    connection.postComponentsMasked = EvmFALSE;
    return EvmERROR_NONE;
}

EvmStatus_t setNonBlocking(EvmConnection_s& connection, void* argument) {
    if (connection.type != EvmCONNECTION_POST || connection.mode != EvmRESPONSE_IGNORE ||
        argument == nullptr)
        return EvmERROR_INVALID_ARGUMENT;
    const int wanted = *static_cast<const int*>(argument);
    if (wanted != 0 && wanted != 1) return EvmERROR_INVALID_ARGUMENT;
    bool queues = false;
    {
        const ConnectionLock lock(connection);
        queues = connection.nonBlocking != EvmFALSE;
    }
    return wanted == 0 && queues ? flushQueue(connection) : EvmERROR_NONE;
}

/// At the request's number; null for what is no request.
constexpr Handler HANDLERS[] = {
    acceptArgument,
    accept,
    acceptArgument,
    accept,
    store<&EvmConnection_s::checksumUsed, EvmTRUE>,
    store<&EvmConnection_s::checksumUsed, EvmFALSE>,
    tell<&EvmConnection_s::checksumUsed>,
    tell<&EvmConnection_s::isClusterAlias>,
    nullptr,
    nullptr,
    nullptr,
    nullptr,
    nullptr,
    tellMembers,
    nullptr,
    setItems,
    setDefaultItems,
    setNonBlocking,
};
static_assert(std::size(HANDLERS) == EvmCONTROL_LAST + 1);

} // namespace

EvmStatus_t EvmConnControl(EvmConnection_t a_conn, int a_request, void* a_argument) {
    Pin connection;
    const EvmStatus_t status = pinActive(a_conn, connection);
    if (status != EvmERROR_NONE) return status;
    const bool known = a_request >= 0 && a_request <= EvmCONTROL_LAST;
    const Handler handler = known ? HANDLERS[a_request] : nullptr;
    return handler != nullptr ? handler(*connection, a_argument) : EvmERROR_INVALID_ARGUMENT;
}
