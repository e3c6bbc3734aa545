#include "evm/libevm/con.h"
#include "platform/include/message_format.h"

#include <string_view>

using namespace evm;

namespace {

constexpr const char* DEFAULT_ADDRESS = "(ADDRESS=(PROTOCOL=tcp)(HOST=127.0.0.1))";
constexpr std::string_view URL_PREFIX = "clsc://";

/// What is wrong with a pipe that something is asked of.
EvmStatus_t check(const EvmPipe* pipe) {
    if (pipe == nullptr) return EvmERROR_INVALID_ARGUMENT;
    const bool usable = pipe->name[0] != '\0' && isLive(pipe->con);
    return usable ? EvmERROR_NONE : EvmERROR_NOT_INITIALIZED;
}

EvmStatus_t connectStatus(EvmStatus_t status) {
    return status == EvmERROR_NONE ? EvmERROR_NONE : EvmERROR_CONNECT;
}

/// Where the pipe listens, as others connect to it.
EvmStatus_t storeBaseName(EvmPipe& pipe) {
    char name[NIPC_ADDRESS_SIZE + 1];
    if (nipcGetAttributeStringF(pipe.con->endpS.get(), "name", name, sizeof name) != NIPC_OK)
        return EvmERROR_CONNECT;
    std::string_view text = name;
    if (text.substr(0, URL_PREFIX.size()) == URL_PREFIX) text.remove_prefix(URL_PREFIX.size());
    copy_cut(pipe.baseName, sizeof pipe.baseName, text);
    return EvmERROR_NONE;
}

} // namespace

EvmStatus_t EvmPipeCreate(EvmPipe* pipe, const char* baseName) {
    if (pipe == nullptr) return EvmERROR_INVALID_ARGUMENT;
    *pipe = {};
    const std::string_view name = baseName != nullptr ? baseName : DEFAULT_ADDRESS;
    if (name.size() >= sizeof pipe->name) return EvmERROR_INVALID_ARGUMENT;
    if (name.empty()) return EvmERROR_NONE;
    if (EvmConCreate(&pipe->con) != EvmERROR_NONE) return EvmERROR_NOT_INITIALIZED;
    copy_cut(pipe->name, sizeof pipe->name, name);
    pipe->init = EvmTRUE;
    return EvmERROR_NONE;
}

EvmStatus_t EvmPipeListen(EvmPipe* pipe) {
    const EvmStatus_t status = check(pipe);
    if (status != EvmERROR_NONE) return status;
    if (EvmConListen(pipe->con, pipe->name) != EvmERROR_NONE) return EvmERROR_CONNECT;
    return storeBaseName(*pipe);
}

EvmStatus_t EvmPipeAccept(EvmPipe* pipe) {
    const EvmStatus_t status = check(pipe);
    if (status != EvmERROR_NONE) return status;
    if (EvmConIsListening(pipe->con) == EvmFALSE) return EvmERROR_NOT_INITIALIZED;
    return connectStatus(EvmConAnswer(pipe->con));
}

EvmStatus_t EvmPipeConnect(EvmPipe* pipe) {
    const EvmStatus_t status = check(pipe);
    if (status != EvmERROR_NONE) return status;
    return connectStatus(EvmConConnect(pipe->con, pipe->name, EvmFALSE));
}

EvmStatus_t EvmPipeDestroy(EvmPipe* pipe) {
    const EvmStatus_t status = check(pipe);
    if (status != EvmERROR_NONE) return status;
    EvmConDestroy(pipe->con);
    *pipe = {};
    return EvmERROR_NONE;
}
