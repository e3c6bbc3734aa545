#include "evm/libevm/poster.h"

#include "evm/libevm/connection.h"
#include "evm/libevm/global_context.h"
#include "evm/libevm/host_address.h"
#include "platform/include/message_format.h"
#include "platform/include/node_config.h"

#include <ctime>

namespace evm {

namespace {

/// Host or user name; empty while it is not known.
using Name = char[CACHED_NAME_SIZE];

/// The host's name, kept in the global context.
void hostName(Name& name) {
    copy_cut(name, sizeof name, "");
    evmglblctx* const context = _evmGlobalContext();
    if (context == nullptr) return;
    const GlobalContextLock lock;
    if (context->hostname[0] == '\0' &&
        clsuhost(context->hostname, sizeof context->hostname, nullptr) == 0)
        context->hostname[0] = '\0';
    copy_cut(name, sizeof name, context->hostname);
}

EvmStatus_t lookUpUser(Name& name) {
    const int result = scls_idq_get_user_name(nullptr, nullptr, 0, name, sizeof name);
    if (result == SCLS_FAILED) return EvmERROR_LAST;
    if (result != SCLS_OK) copy_cut(name, sizeof name, "");
    evmglblctx* const context = _evmGlobalContext();
    if (context == nullptr) return EvmERROR_NONE;
    const GlobalContextLock lock;
    copy_cut(context->username, sizeof context->username, name);
    return EvmERROR_NONE;
}

/// True when the connection knows the user's name already.
bool cachedUser(EvmConnection_s& connection, const scls_user_id& user, Name& name) {
    const ConnectionLock lock(connection);
    if (connection.userName == nullptr ||
        scls_iddb_compare_user_id(connection.euid.get(), &user) != 0)
        return false;
    copy_cut(name, sizeof name, connection.userName.get());
    return true;
}

void cacheUser(EvmConnection_s& connection, const scls_user_id& user, const Name& name) {
    HeapPtr<char> copy = heapString(name);
    const ConnectionLock lock(connection);
    *connection.euid = user;
    connection.userName = std::move(copy);
}

EvmStatus_t userName(EvmConnection_s* connection, const scls_user_id& user, Name& name) {
    if (connection != nullptr && cachedUser(*connection, user, name)) return EvmERROR_NONE;
    const EvmStatus_t status = lookUpUser(name);
    if (status == EvmERROR_NONE && connection != nullptr && name[0] != '\0')
        cacheUser(*connection, user, name);
    return status;
}

/// Fills items one after the other, until one fails.
class Filling {
public:
    Filling(EvmEvent_t event, EvmItemMask_t mask) : m_event(event), m_mask(mask) {}

    void set(EvmItemId_t id, std::uint64_t value) {
        if (m_status == EvmERROR_NONE && (m_mask >> id & 1U) != 0)
            m_status = EvmItemSetu(m_event, id, value);
    }
    void set(EvmItemId_t id, const char* text) {
        if (m_status == EvmERROR_NONE && (m_mask >> id & 1U) != 0 && text[0] != '\0')
            m_status = EvmItemSetVa(m_event, id, text, EvmITEM_NONE);
    }
    [[nodiscard]] bool wants(EvmItemId_t id) const { return (m_mask >> id & 1U) != 0; }
    [[nodiscard]] EvmStatus_t status() const { return m_status; }

private:
    EvmEvent_t m_event;
    EvmItemMask_t m_mask;
    EvmStatus_t m_status = EvmERROR_NONE;
};

constexpr EvmItemMask_t bit(EvmItemId_t id) {
    return EvmItemMask_t{1} << id;
}

/// What an ordinary post has filled in.
EvmItemMask_t ordinaryItems(const EvmConnection_s* connection) {
    EvmItemMask_t items =
        bit(EvmITEM_TIMESTAMP) | bit(EvmITEM_PPID) | bit(EvmITEM_PID) | bit(EvmITEM_USER_NAME);
    if (connection != nullptr && connection->transportType == EvmTRANSPORT_TCPIP)
        items |= bit(EvmITEM_HOST_NAME) | bit(EvmITEM_HOST_IP);
    return items;
}

} // namespace

EvmStatus_t identifyPoster(Poster& poster) {
    std::size_t size = 0;
    if (scls_meta_query_size(nullptr, 0, &size, nullptr, nullptr) != SCLS_OK) return EvmERROR_LAST;
    const HeapPtr<std::byte> area = heapArray<std::byte>(size);
    if (area == nullptr) return EvmERROR_NO_MEMORY;
    auto* const context = static_cast<scls_ctx*>(static_cast<void*>(area.get()));
    if (scls_meta_ctx_init(context, nullptr, 0) != SCLS_OK) return EvmERROR_LAST;
    const bool known = scls_pid_get_self(context, nullptr, 0, &poster.process) == SCLS_OK &&
                       scls_pid_get_parent(context, nullptr, 0, &poster.parent) == SCLS_OK &&
                       scls_idq_get_user_id(context, nullptr, 0, &poster.user) == SCLS_OK;
    scls_meta_ctx_destroy(context, nullptr, 0);
    return known ? EvmERROR_NONE : EvmERROR_LAST;
}

EvmStatus_t fillAutomaticItems(EvmConnection_s* connection, EvmEvent_t event, EvmItemMask_t mask) {
    if ((mask & ~AUTOMATIC_ITEMS) != 0) return EvmERROR_INVALID_ARGUMENT;
    Poster poster;
    EvmStatus_t status = identifyPoster(poster);
    if (status != EvmERROR_NONE) return status;
    Name user = "";
    status = userName(connection, poster.user, user);
    if (status != EvmERROR_NONE) return status;

    Filling items(event, mask != 0 ? mask : ordinaryItems(connection));
    items.set(EvmITEM_TIMESTAMP, static_cast<std::uint64_t>(std::time(nullptr)));
    items.set(EvmITEM_USER_NAME, user);
    items.set(EvmITEM_PID, static_cast<std::uint64_t>(scls_pid_value(&poster.process)));
    items.set(EvmITEM_PPID, static_cast<std::uint64_t>(scls_pid_value(&poster.parent)));
    if (items.wants(EvmITEM_HOST_NAME) || items.wants(EvmITEM_HOST_IP)) {
        Name host;
        hostName(host);
        items.set(EvmITEM_HOST_NAME, host);
        items.set(EvmITEM_HOST_IP, _evmHostAddress(host));
    }
    items.set(EvmITEM_CLUSTER_EVENT, EvmFALSE);
    items.set(EvmITEM_CLUSTER_IP, std::uint64_t{0});
    items.set(EvmITEM_MEMBER_ID, std::uint64_t{0});
    return items.status();
}

} // namespace evm
