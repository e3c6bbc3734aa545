#include "platform/include/clsc.h"
#include "platform/include/message_format.h"
#include "platform/include/node_config.h"
#include "platform/local/error_text.h"
#include "platform/local/socket_address.h"

#include <unistd.h>

#include <cerrno>

namespace {

/// Long enough to tell folders apart in the callers' 100 bytes, next to the reason.
constexpr std::size_t FOLDER_SHOWN = 40;

/// Why endpoints cannot be used; empty when they can. A folder that is missing can: whoever listens
/// first makes it.
std::string reason_against_endpoints() {
    node_config_error error;
    const node_config* const config = node_config_get(&error);
    if (config == nullptr) {
        error.file = shorten_from_left(error.file, FOLDER_SHOWN);
        return error.text();
    }
    // The path through the folder itself tells a file in its place and missing rights alike.
    if (access((config->runtime_dir + "/.").c_str(), X_OK) == 0 || errno == ENOENT) return {};
    const std::string reason = system_error_text(errno);
    return "runtime_dir " + shorten_from_left(config->runtime_dir, FOLDER_SHOWN) + ": " + reason;
}

} // namespace

int clsunsinit(char* errorText, unsigned size) {
    const std::string reason = reason_against_endpoints();
    copy_cut(errorText, size, reason);
    return reason.empty() ? CLSC_OK : CLSC_REFUSED;
}

int clsvorn_getconnstr(char* buffer, const char* socketName, unsigned /*daemonId*/) {
    if (buffer == nullptr) return CLSVORN_KEYLONG;
    buffer[0] = '\0';
    const node_config* const config = node_config_get();
    if (config == nullptr) return CLSVORN_NONODE;
    const std::string key =
        std::string(socketName == nullptr ? "" : socketName) + "." + config->node_name;
    const std::string text = "(ADDRESS=(PROTOCOL=ipc)(KEY=" + key + "))";
    std::string path;
    if (platform::ipc_socket_path(config->runtime_dir, key, path) != CLSC_OK ||
        text.size() >= CLSC_ADDRESS_SIZE)
        return CLSVORN_KEYLONG;
    copy_cut(buffer, CLSC_ADDRESS_SIZE, text);
    return CLSVORN_OK;
}
