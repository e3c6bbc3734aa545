#include "evm/libevm/item_table.h"

#include "evm/libevm/labels.h"

#include <algorithm>

namespace evm {

namespace {

constexpr ItemRow flag(EvmItemId_t id, const char* name, const char* description,
                       EvmFlagItems_t bit) {
    return {id, name, description, true, Storage::FLAG, 0, static_cast<std::uint8_t>(bit)};
}

constexpr ItemRow field(EvmItemId_t id, const char* name, const char* description,
                        std::uint8_t width, std::size_t offset) {
    return {id, name, description, true, Storage::FIELD, width, static_cast<std::uint8_t>(offset)};
}

constexpr ItemRow text(EvmItemId_t id, const char* name, const char* description) {
    return {id, name, description, true, Storage::BODY_STRING, 0, 0};
}

constexpr ItemRow number(EvmItemId_t id, const char* name, const char* description,
                         std::uint8_t width) {
    return {id, name, description, true, Storage::BODY_NUMBER, width, 0};
}

constexpr char lower(char c) {
    return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c;
}

} // namespace

// clang-format off
constexpr std::array<ItemRow, EvmITEM_MAX> ItemInfo = {{
    text(EvmITEM_NAME, "name", "Event Name"),
    {EvmITEM_UNUSED_1, "unused_1", "Unused 1", false, Storage::NOWHERE, 0, 0},
    flag(EvmITEM_KERNEL_ONLY, "kernel_only", "Kernel Only", EvmFLAG_KERNEL_ONLY),
    flag(EvmITEM_CLUSTER_EVENT, "cluster_event", "Cluster Event", EvmFLAG_CLUSTER_EVENT),
    field(EvmITEM_PRIORITY, "priority", "Priority", 2, offsetof(EvmEventHead_t, priority)),
    field(EvmITEM_PID, "pid", "PID", 8, offsetof(EvmEventHead_t, pid)),
    field(EvmITEM_PPID, "ppid", "PPID", 8, offsetof(EvmEventHead_t, ppid)),
    field(EvmITEM_EVENT_ID, "event_id", "Event Id", 4, offsetof(EvmEventHead_t, eventId)),
    field(EvmITEM_MEMBER_ID, "member_id", "Member Id", 4, offsetof(EvmEventHead_t, memberId)),
    field(EvmITEM_TIMESTAMP, "timestamp", "Timestamp", 8, offsetof(EvmEventHead_t, time)),
    field(EvmITEM_HOST_IP, "host_ip", "Host IP address", 4, offsetof(EvmEventHead_t, hostId)),
    number(EvmITEM_REPEAT_COUNT, "repeat_count", "Repeat count", 4),
    number(EvmITEM_LAST_TIMESTAMP, "last_timestamp", "Last Timestamp", 8),
    number(EvmITEM_I18N_MSG_ID, "i18n_msg_id", "I18N Msg Id", 4),
    number(EvmITEM_I18N_SET_ID, "i18n_set_id", "I18N Set Id", 4),
    text(EvmITEM_I18N_CATALOG, "i18n_catalog", "I18N Catalog"),
    number(EvmITEM_CLUSTER_IP, "cluster_ip", "Cluster IP address", 4),
    text(EvmITEM_HOST_NAME, "host_name", "Host Name"),
    text(EvmITEM_CLUSTER_NAME, "cluster_name", "Cluster Name"),
    text(EvmITEM_USER_NAME, "user_name", "User Name"),
    text(EvmITEM_FORMAT, "format", "Format"),
    text(EvmITEM_REF, "ref", "Reference"),
    {EvmITEM_VAR, "var", "Variable", false, Storage::VARIABLES, 0, 0},
}};
// clang-format on

const ItemRow* findItem(EvmItemId_t id) {
    return id >= EvmITEM_FIRST && id <= EvmITEM_MAX ? &ItemInfo[id - EvmITEM_FIRST] : nullptr;
}

const ItemRow* findItem(std::string_view name) {
    const auto same = [](char a, char b) { return lower(a) == lower(b); };
    const auto* const found = std::ranges::find_if(ItemInfo, [&](const ItemRow& row) {
        return std::ranges::equal(std::string_view(row.name), name, same);
    });
    return found == ItemInfo.end() ? nullptr : found;
}

} // namespace evm

EvmStatus_t EvmItemNameFromId(EvmItemId_t id, const char** name) {
    if (name == nullptr) return EvmERROR_INVALID_ARGUMENT;
    const evm::ItemRow* const row = evm::findItem(id);
    *name = row == nullptr ? nullptr : row->name;
    return row == nullptr ? EvmERROR_INVALID_VALUE : EvmERROR_NONE;
}

EvmStatus_t EvmItemIdFromName(const char* name, EvmItemId_t* id) {
    if (id == nullptr) return EvmERROR_INVALID_ARGUMENT;
    *id = EvmITEM_NONE;
    if (name == nullptr) return EvmERROR_INVALID_ARGUMENT;
    const evm::ItemRow* const row = evm::findItem(std::string_view(name));
    if (row != nullptr) *id = row->id;
    return row == nullptr ? EvmERROR_INVALID_VALUE : EvmERROR_NONE;
}

const char* EvmItemDescription(EvmItemId_t id) {
    const evm::ItemRow* const row = evm::findItem(id);
    return row == nullptr ? evm::label(evm::LABEL_UNKNOWN_ITEM) : row->description;
}
