#include "platform/include/diagnostics.h"
#include "platform/include/message_format.h"
#include "platform/include/nipc.h"
#include "platform/include/node_config.h"
#include "platform/local/nipc_objects.h"
#include "platform/local/peer_user.h"

#include <cstring>
#include <new>
#include <string>

namespace {

constexpr const char* COMPONENT = "NIPC";
constexpr std::string_view URL_PREFIX = "clsc://";
constexpr std::string_view NAME_ATTRIBUTE = "name";

/// How often the library was started; NIPC_FAILED instead of contexts while it is 0.
constinit std::atomic<int> users{0};

const char* describe(nipc_result result) {
    switch (result) {
    case NIPC_LOST:
        return "connection broken";
    case NIPC_NO_MEMORY:
        return "out of memory or descriptors";
    case NIPC_IN_USE:
        return "address in use";
    case NIPC_TIMEOUT:
        return "timed out";
    default:
        return "failed";
    }
}

/// Ends of waits that belong to a connection's life are no failures.
bool is_failure(nipc_result result) {
    return result == NIPC_LOST || result == NIPC_NO_MEMORY || result == NIPC_FAILED ||
           result == NIPC_IN_USE;
}

/// Leaves a line for a failure, with the address that it concerns; the result is passed on.
nipc_result told(nipc_result result, const char* operation, const nipc_caller& caller,
                 const std::string& address = {}) {
    if (!is_failure(result)) return result;
    const char* const slash = std::strrchr(caller.file, '/');
    clsdprintft(clsdcompreg("", COMPONENT, 0, 0, 0, nullptr), 0, "%s in %s (%s:%d): %s%s%s",
                operation, caller.function, slash != nullptr ? slash + 1 : caller.file, caller.line,
                describe(result), address.empty() ? "" : ": ", address.c_str());
    return result;
}

/// Runs an operation, leaving a line for its failure.
template <class Operation>
nipc_result guarded(const char* name, const nipc_caller& caller, Operation operation) {
    try {
        return told(operation(), name, caller);
    } catch (const std::bad_alloc&) {
        return NIPC_NO_MEMORY;
    }
}

/// Makes an object, which the caller gets only when `prepare` succeeds.
template <class Object, class Prepare>
nipc_result make(Object** out, Prepare prepare) {
    if (out == nullptr) return NIPC_FAILED;
    *out = nullptr;
    auto made = std::make_unique<Object>();
    const nipc_result result = prepare(*made);
    if (result == NIPC_OK) *out = made.release();
    return result;
}

void destroy(nipcObj* object) {
    const std::unique_ptr<nipcObj> owned(object);
}

} // namespace

nipc_result nipcInitializeF(nipc_caller caller) {
    return guarded("nipcInitializeF", caller, [] {
        if (node_config_get() == nullptr) return NIPC_FAILED;
        ++users;
        return NIPC_OK;
    });
}

void nipcShutdownF(nipc_caller caller) {
    if (users.fetch_sub(1) > 0) return;
    ++users;
    told(NIPC_FAILED, "nipcShutdownF", caller);
}

nipc_result nipcContextF(nipcCtx** context, nipc_caller caller) {
    return guarded("nipcContextF", caller, [&] {
        return make(context, [](nipcCtx&) { return users > 0 ? NIPC_OK : NIPC_FAILED; });
    });
}

void nipcDestroyF(nipcObj* object, nipc_caller /*caller*/) {
    destroy(object);
}

void nipcDestroyF(nipcCtx* context, nipc_caller /*caller*/) {
    destroy(context);
}

void nipcDestroyF(nipcEndp* endpoint, nipc_caller /*caller*/) {
    destroy(endpoint);
}

void nipcDestroyF(nipcAddr* address, nipc_caller /*caller*/) {
    destroy(address);
}

nipc_result nipcEndpointF(nipcCtx* context, nipcEndp** endpoint, const char* name, unsigned options,
                          nipc_caller caller) {
    return guarded("nipcEndpointF", caller, [&] {
        return make(endpoint, [&](nipcEndp& made) {
            return context != nullptr ? made.open(name, options) : NIPC_FAILED;
        });
    });
}

nipc_result nipcAddressF(nipcCtx* context, const char* text, nipcAddr** address,
                         nipc_caller caller) {
    return guarded("nipcAddressF", caller, [&] {
        return make(address, [&](nipcAddr& made) {
            clsc_address decoded;
            if (context == nullptr || text == nullptr || !clsc_parse_address(text, decoded))
                return NIPC_FAILED;
            made.text = text;
            const int result = platform::resolve(decoded, false, made.candidates);
            if (result == CLSC_FATAL) return NIPC_NO_MEMORY;
            return result == CLSC_OK ? NIPC_OK : NIPC_FAILED;
        });
    });
}

nipc_result nipcConnectSyncF(nipcEndp* endpoint, const nipcAddr* address, nipc_caller caller) {
    try {
        if (endpoint == nullptr || address == nullptr)
            return told(NIPC_FAILED, "nipcConnectSyncF", caller);
        return told(endpoint->connect(*address), "nipcConnectSyncF", caller, address->text);
    } catch (const std::bad_alloc&) {
        return NIPC_NO_MEMORY;
    }
}

nipc_result nipcListenF(nipcEndp* endpoint, nipc_caller caller) {
    return guarded("nipcListenF", caller,
                   [&] { return endpoint != nullptr ? endpoint->listen() : NIPC_FAILED; });
}

nipc_result nipcAcceptSyncF(nipcEndp* listener, nipcEndp** endpoint, nipc_caller caller) {
    return guarded("nipcAcceptSyncF", caller, [&] {
        if (endpoint == nullptr) return NIPC_FAILED;
        *endpoint = nullptr;
        std::unique_ptr<nipcEndp> made;
        const nipc_result result = listener != nullptr ? listener->accept(made) : NIPC_FAILED;
        if (result == NIPC_OK) *endpoint = made.release();
        return result;
    });
}

nipc_result nipcDisconnectF(nipcEndp* endpoint, nipc_caller caller) {
    return guarded("nipcDisconnectF", caller,
                   [&] { return endpoint != nullptr ? endpoint->disconnect() : NIPC_FAILED; });
}

nipc_result nipcSendSyncF(nipcEndp* endpoint, const void* message, std::size_t length,
                          nipc_caller caller) {
    return guarded("nipcSendSyncF", caller, [&] {
        return endpoint != nullptr ? endpoint->send(message, length) : NIPC_FAILED;
    });
}

nipc_result nipcWaitF(nipcEndp* endpoint, int timeout_ms, nipcReqInfo* info, nipc_caller caller) {
    if (info == nullptr) return told(NIPC_FAILED, "nipcWaitF", caller);
    *info = {NIPC_REQUEST_RECEIVE, NIPC_FAILED, nullptr, 0};
    info->result = guarded("nipcWaitF", caller, [&] {
        return endpoint != nullptr ? endpoint->wait(timeout_ms, *info) : NIPC_FAILED;
    });
    return info->result;
}

nipc_result nipcReleaseBufferF(nipcEndp* endpoint, void* buffer, nipc_caller caller) {
    return guarded("nipcReleaseBufferF", caller,
                   [&] { return endpoint != nullptr ? endpoint->release(buffer) : NIPC_FAILED; });
}

nipc_result nipcPostF(nipcEndp* endpoint, nipc_caller caller) {
    return guarded("nipcPostF", caller,
                   [&] { return endpoint != nullptr ? endpoint->post() : NIPC_FAILED; });
}

nipc_result nipcLimitF(nipcEndp* endpoint, std::uint32_t longest, nipc_caller caller) {
    return guarded("nipcLimitF", caller,
                   [&] { return endpoint != nullptr ? endpoint->limit(longest) : NIPC_FAILED; });
}

nipc_result nipcGetAttributeStringF(nipcEndp* endpoint, const char* attribute, char* buffer,
                                    std::size_t size, nipc_caller caller) {
    copy_cut(buffer, size, "");
    return guarded("nipcGetAttributeStringF", caller, [&] {
        const int fd = endpoint != nullptr ? endpoint->descriptor() : -1;
        if (fd < 0 || attribute == nullptr || attribute != NAME_ATTRIBUTE) return NIPC_FAILED;
        const std::string address = platform::connect_string(fd, true);
        if (address.empty() || URL_PREFIX.size() + address.size() >= size) return NIPC_FAILED;
        copy_cut(buffer, size, std::string(URL_PREFIX) + address);
        return NIPC_OK;
    });
}

nipc_result nipcGetPeerF(nipcEndp* endpoint, scls_pid* process, scls_user_id* user,
                         nipc_caller caller) {
    return guarded("nipcGetPeerF", caller, [&] {
        const int fd = endpoint != nullptr ? endpoint->connected_descriptor() : -1;
        const auto peer = platform::peer_credentials(fd);
        if (!peer) return NIPC_FAILED;
        if (process != nullptr) *process = {peer->pid};
        if (user != nullptr) *user = {peer->uid, 0};
        return NIPC_OK;
    });
}
