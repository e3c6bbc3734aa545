#pragma once

#include "evm/libevm/evm.h"
#include "platform/include/identity.h"

struct EvmConnection_s;

namespace evm {

/// Who posts, as the identity service tells.
struct Poster {
    scls_pid process{};
    scls_pid parent{};
    scls_user_id user{};
};

/// EvmERROR_LAST when the identity service fails.
EvmStatus_t identifyPoster(Poster& poster);

/// What may be filled in automatically.
inline constexpr EvmItemMask_t AUTOMATIC_ITEMS =
    EvmItemMask_t{1} << EvmITEM_CLUSTER_EVENT | EvmItemMask_t{1} << EvmITEM_PID |
    EvmItemMask_t{1} << EvmITEM_PPID | EvmItemMask_t{1} << EvmITEM_MEMBER_ID |
    EvmItemMask_t{1} << EvmITEM_TIMESTAMP | EvmItemMask_t{1} << EvmITEM_HOST_IP |
    EvmItemMask_t{1} << EvmITEM_CLUSTER_IP | EvmItemMask_t{1} << EvmITEM_HOST_NAME |
    EvmItemMask_t{1} << EvmITEM_CLUSTER_NAME | EvmItemMask_t{1} << EvmITEM_USER_NAME;
static_assert(AUTOMATIC_ITEMS == 0x1E0ED0);

/// Fills the mask's items into the event, those of an ordinary post for an empty one; what is not
/// known is left out. The connection, which keeps the user's name for the next post, may be null.
/// EvmERROR_INVALID_ARGUMENT for a mask with other items.
EvmStatus_t fillAutomaticItems(EvmConnection_s* connection, EvmEvent_t event, EvmItemMask_t mask);

} // namespace evm
