#include "tav/registry/clsgenv.h"

#include "platform/include/environment.h"
#include "platform/include/message_format.h"

#include <cstring>
#include <memory>
#include <new>

constinit clsenv clsenvdummy{};
constinit cls_thrIMx clsEnvMutex{};

namespace {

/// Option of the environment read, as the cluster stack's layers pass it.
constexpr unsigned ENVIRONMENT_OPTION = 16;

bool read_value(const char* name, char* value) {
    if (slzgetevar(name, value, CLSENV_MAX, ENVIRONMENT_OPTION) >= 1) return true;
    return clsgenvzks(name, value) == 0;
}

} // namespace

const char* clsgenv(const char* name) {
    const StaticLock lock(clsEnvMutex);
    if (name == nullptr || std::strlen(name) > CLSENV_MAX) return nullptr;
    if (const clsenv* kept = clsenvlookup(name)) return kept->clsenv_val;

    char value[CLSENV_MAX + 1] = {};
    if (!read_value(name, value)) return nullptr;
    std::unique_ptr<clsenv> entry(new (std::nothrow) clsenv{});
    if (!entry) return nullptr;
    copy_cut(entry->clsenv_key, sizeof entry->clsenv_key, name);
    copy_cut(entry->clsenv_val, sizeof entry->clsenv_val, value);
    const clsenv* added = entry.get();
    clsenvadd(entry.release());
    return added->clsenv_val;
}

clsenv* clsenvlookup(const char* name) {
    const StaticLock lock(clsEnvMutex);
    if (name == nullptr) return nullptr;
    clsenv* entry = clsenvdummy.clsenv_nxt;
    while (entry != nullptr && std::strcmp(entry->clsenv_key, name) != 0) entry = entry->clsenv_nxt;
    return entry;
}

void clsenvadd(clsenv* entry) {
    const StaticLock lock(clsEnvMutex);
    if (entry == nullptr) return;
    entry->clsenv_nxt = nullptr;
    clsenv* tail = &clsenvdummy;
    while (tail->clsenv_nxt != nullptr) tail = tail->clsenv_nxt;
    tail->clsenv_nxt = entry;
}
