#include "platform/include/node_config.h"

#include "platform/include/immortal.h"
#include "platform/local/node_config_file.h"

#include <cerrno>
#include <cstring>

struct lpmctx {};

namespace {

struct Loaded {
    node_config config;
    node_config_error error;
    bool usable = node_config_load(config, error);
};

constinit lpmctx memory_context{};

/// This node's name; null when the configuration cannot be used, with errno set.
const std::string* node_name() {
    node_config_error error;
    const node_config* const config = node_config_get(&error);
    if (config != nullptr) return &config->node_name;
    errno = error.oserror != 0 ? error.oserror : EINVAL;
    return nullptr;
}

} // namespace

const node_config* node_config_get(node_config_error* error) {
    static Immortal<Loaded> loaded;
    if (!loaded->usable && error != nullptr) *error = loaded->error;
    return loaded->usable ? &loaded->config : nullptr;
}

int clsz_getnodenm(char* buffer, std::size_t size) {
    if (buffer == nullptr || size == 0) {
        errno = EINVAL;
        return 1;
    }
    buffer[0] = '\0';
    const std::string* const name = node_name();
    if (name == nullptr) return 1;
    if (name->size() >= size) {
        errno = ENAMETOOLONG;
        return 1;
    }
    std::memcpy(buffer, name->c_str(), name->size() + 1);
    return 0;
}

std::size_t clsuhost(char* buffer, std::size_t size, std::size_t* length) {
    const std::size_t found = clsz_getnodenm(buffer, size) == 0 ? std::strlen(buffer) : 0;
    if (length != nullptr) *length = found;
    return found;
}

lpmctx* lpmprinit() {
    return &memory_context;
}

int clsugetconf(lpmctx* /*context*/, unsigned /*zero*/, int* type) {
    const node_config* const config = node_config_get();
    if (config == nullptr || type == nullptr) return 1;
    *type = static_cast<int>(config->configuration);
    return 0;
}
