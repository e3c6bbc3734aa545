#include "platform/include/environment.h"
#include "tav/registry/tavzksShared.h"

#include <algorithm>

namespace TAV {

namespace {

/// The daemon of this component runs the resources' actions, whose levels are attributes of the
/// resources.
constexpr unsigned ACTION_DAEMON = 14;
constexpr clsv_daemon DAEMONS[] = {{3, VORND}, {13, "torvd"}, {ACTION_DAEMON, "action"}};

/// The most detailed level that module logging knows.
constexpr int LEVEL_MAX = 5;
/// A level is a digit; what is longer is somebody's mistake.
constexpr unsigned LEVEL_TEXT_SIZE = 64;

/// The daemon as which the process takes levels from the registry.
constinit std::atomic<const clsv_daemon*> s_levelDaemon{nullptr};

char upper(char c) {
    return c >= 'a' && c <= 'z' ? static_cast<char>(c - 'a' + 'A') : c;
}

std::string completeDebugKey(const clsv_daemon& daemon, const char* module) {
    std::string key;
    tavzksGetDebugKey(key, daemon.component == nullptr ? "" : daemon.component, module);
    return std::string(TAVSYSTEM) + '.' + key;
}

int setActionLevel(const char* resource, const std::string& level, przks_ctx* ctx) {
    if (!tavzksLookup(resource, "", ctx)) {
        zks::traceFailure(" TAVZKS set Debug Fails, Resource ", resource, " does not exist.");
        return PRZKS_NOTFOUND;
    }
    const int rc = tavzksSetvalue(resource, USRZELDEBUG, level, TAVZKS_CURRENT, ctx);
    if (rc == PRZKS_OK) zks::trace(" TAVZKS Set Debug Level for Resource ", resource, ": ", level);
    return rc;
}

int setModuleLevel(const std::string& key, const std::string& level, przks_ctx* ctx) {
    const auto length = static_cast<unsigned>(level.size() + 1);
    const int rc = tavzksWrite(key.c_str(), level.c_str(), length, ctx);
    if (rc == PRZKS_OK)
        zks::trace(" SET Logging Level for: ", key, "   ", level);
    else
        zks::traceFailure(" TAVZKS SET Debug FAILED for ", key, ": rc = ", rc);
    return rc;
}

przks_ctx* contextFor(const char* name) {
    przks_ctx* const ctx = tavzkstrygetctx();
    if (ctx == nullptr) zks::traceFailure(" zks context NULL = ", name);
    return ctx;
}

bool registryLevel(const std::string& module, int& level) {
    const zks::Quiet quiet;
    const clsv_daemon* const daemon = s_levelDaemon;
    return daemon != nullptr && tavzksGetDebugLevel(module.c_str(), &level, *daemon) == PRZKS_OK;
}

bool keepRegistryLevel(const std::string& module, int level) {
    const zks::Quiet quiet;
    const clsv_daemon* const daemon = s_levelDaemon;
    return daemon != nullptr && tavzksSetDebugLevel(module.c_str(), level, *daemon) == PRZKS_OK;
}

} // namespace

void tavzksGetDebugKey(std::string& key, const std::string& component, const char* module) {
    std::string name = module == nullptr ? "" : module;
    std::transform(name.begin(), name.end(), name.begin(), upper);
    key = component + '.' + TAVZKS_DEBUG_KEY_PREFIX + '.' + tavzksGetHostname() + '.' + name;
}

int tavzksGetDebugLevel(const char* module, int* level, const clsv_daemon& daemon) {
    if (module == nullptr || level == nullptr) return PRZKS_BADARG;
    przks_ctx* const ctx = contextFor(module);
    if (ctx == nullptr) return PRZKS_BADARG;
    char text[LEVEL_TEXT_SIZE] = {};
    unsigned length = sizeof text;
    const int rc = tavzksReadZKSKey(completeDebugKey(daemon, module).c_str(), text, &length, ctx);
    if (rc != PRZKS_OK) {
        zks::trace(" TAVZKS GET Debug Level Return Code[", module, "]: ", rc);
        return rc;
    }
    const std::string_view digits = zks::textIn({text, length});
    *level = std::clamp(lcvb24(digits.data(), digits.size()), 0, LEVEL_MAX);
    zks::trace(" TAVZKS GET Debug sblevel Level[", module, "]: ", digits);
    zks::trace(" TAVZKS GET Debug level Level[", module, "]: ", *level);
    return rc;
}

int tavzksSetDebugLevel(const char* module, int level, const clsv_daemon& daemon) {
    if (module == nullptr) return PRZKS_BADARG;
    przks_ctx* const ctx = contextFor(module);
    if (ctx == nullptr) return PRZKS_BADARG;
    const std::string text = std::to_string(std::clamp(level, 0, LEVEL_MAX));
    if (daemon.id == ACTION_DAEMON) return setActionLevel(module, text, ctx);
    return setModuleLevel(completeDebugKey(daemon, module), text, ctx);
}

const clsv_daemon* tavzksFindDaemon(unsigned id) {
    const auto* const found =
        std::find_if(std::begin(DAEMONS), std::end(DAEMONS),
                     [id](const clsv_daemon& entry) { return entry.id == id; });
    return found == std::end(DAEMONS) ? nullptr : found;
}

void tavzksInstallDebugLevels(const clsv_daemon& daemon) {
    s_levelDaemon = &daemon;
    CLS_Debug::setRegistryLevelHooks(registryLevel, keepRegistryLevel);
}

} // namespace TAV
