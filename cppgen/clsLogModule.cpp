#include "cppgen/clsLog.h"
#include "cppgen/clsLogHooks.h"
#include "platform/include/environment.h"
#include "platform/include/immortal.h"

#include <map>
#include <mutex>
#include <utility>

namespace CLS_Debug {

namespace {

constexpr const char* NONE_MODULE_NAME = "default";

/// What is read of an environment variable; a level needs no more.
constexpr std::size_t LEVEL_TEXT_MAX = 511;

/// The registered modules by name, under the reference map's lock.
std::map<std::string, CLSlogModule>& referenceMap() {
    static Immortal<std::map<std::string, CLSlogModule>> map;
    return *map;
}

void takeLevelFromEnvironment(const std::string& variable, int& level) {
    char text[LEVEL_TEXT_MAX + 1];
    const int length = slzgetevar(variable.c_str(), text, LEVEL_TEXT_MAX);
    if (length > 0) level = lcvb24(text, static_cast<std::size_t>(length));
}

/// The later source wins: default, registry, common variable, the module's own variable.
int startLevel(const CLSlogModuleInfo& info) {
    int level = info.defaultLevel;
    int registryValue = 0;
    if (CLSlogStaticData::s_staticData().getIsTorvd() &&
        registryLevel(info.moduleName, registryValue)) {
        level = registryValue;
    }
    takeLevelFromEnvironment(ENV_DEBUG_ALL, level);
    takeLevelFromEnvironment(ENV_DEBUG_PREPEND + info.moduleName, level);
    return level;
}

void installCallbacks() {
    static constinit std::once_flag installed;
    std::call_once(installed, clsd_setcallbacks, clsdCbkFilter, clsdCbkLog);
}

} // namespace

int tfcb(char* out, std::size_t size, int kind, const void* data) {
    switch (kind) {
    case 0:
        return lstprintf(out, size, " trace data:[%s]", static_cast<const char*>(data));
    case 1:
        return lstprintf(out, size, "[%d]0123456789", kind);
    default:
        return lstprintf(out, size, "wrong trace record");
    }
}

CLSlogModule::CLSlogModule(std::string name) : m_name(std::move(name)) {}

CLSlogModule& noneModule() {
    static Immortal<CLSlogModule> module(NONE_MODULE_NAME);
    return *module;
}

const CLSlogModule& CLSlogModule::getModuleNone() {
    return noneModule();
}

CLSlogModule* CLSlogModule::getReference(const std::string& name) {
    if (name == NONE_MODULE_NAME) return &noneModule();
    const ReferenceMapLock lock;
    return &referenceMap().try_emplace(name, name).first->second;
}

CLSlogModule* CLSlogModule::registerModule(const CLSlogModuleInfo& info) {
    installCallbacks();
    clsdcompreg(info.description.c_str(), info.moduleName.c_str(), info.size, info.componentFlags,
                startLevel(info), info.formatter);
    return getReference(info.moduleName);
}

clsdcomp* CLSlogModule::component() const {
    clsdcomp* found = m_component.load(std::memory_order_acquire);
    if (found == nullptr && this != &noneModule()) {
        found = clsdgetcompid(m_name.c_str());
        if (found != nullptr) m_component.store(found, std::memory_order_release);
    }
    return found;
}

unsigned CLSlogModule::getClsdLevelLog() const {
    const clsdcomp* const known = component();
    if (known == nullptr) return 0;
    const bool counts = (known->flags & CLSD_STATE_ON) != 0 && (known->flags & CLSD_STATE_OFF) == 0;
    return counts ? clsdget_loglvl(known) : 0;
}

void CLSlogModule::setClsdLevelLog(unsigned level) {
    clsdcomp* const known = component();
    if (known != nullptr) clsdset_loglvl(known, level);
}

DebugDetail CLSlogModule::getDetailDefault() const {
    switch (getClsdLevelLog()) {
    case 0:
        return DETAIL_LOGGING;
    case 1:
        return DETAIL_FIRST_FAILURE;
    case 2:
        return DETAIL_ENTER;
    case 3:
        return DETAIL_TRACE;
    case 4:
        return DETAIL_EXTERNAL_LAYER;
    default:
        return DETAIL_ALGORITHM;
    }
}

bool clsdCbkFilter(const clsdcomp*) {
    return CLSlogStaticData::s_staticData().getIsTorvd();
}

} // namespace CLS_Debug
