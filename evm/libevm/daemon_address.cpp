#include "evm/libevm/daemon_address.h"

#include "platform/include/environment.h"
#include "platform/include/message_format.h"
#include "platform/include/node_config.h"

#include <cstdio>

namespace evm {

namespace {

constexpr const char* CLUSTER_NAME_VARIABLE = "QUORD_CLUSTERNAME";
constexpr const char* ACCEPTOR = "SYSTEM.evm.acceptor.auth";
constexpr std::size_t CLUSTER_NAME_MAX = 511;
constexpr std::size_t HOST_NAME_MAX_LENGTH = 512;

} // namespace

bool _evmDefaultAddress(char* buffer, std::size_t size) {
    char cluster[CLUSTER_NAME_MAX + 1];
    char host[HOST_NAME_MAX_LENGTH + 1];
    int length = 0;
    if (slzgetevar(CLUSTER_NAME_VARIABLE, cluster, CLUSTER_NAME_MAX) < 1)
        length = std::snprintf(buffer, size, "(ADDRESS=(PROTOCOL=ipc)(KEY=%s))", ACCEPTOR);
    else if (clsuhost(host, sizeof host, nullptr) != 0)
        length = std::snprintf(buffer, size, "(ADDRESS=(PROTOCOL=ipc)(KEY=%s.%s.%s))", ACCEPTOR,
                               cluster, host);
    const bool whole = length > 0 && static_cast<std::size_t>(length) < size;
    if (!whole) copy_cut(buffer, size, "");
    return whole;
}

} // namespace evm
