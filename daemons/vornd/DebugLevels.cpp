#include "daemons/vornd/DebugLevels.h"

#include "cppgen/clsLog.h"
#include "daemons/vornd/DaemonLog.h"
#include "platform/include/clsc.h"
#include "platform/include/environment.h"
#include "tav/registry/tavzks.h"

#include <poll.h>

#include <algorithm>
#include <array>
#include <utility>

namespace vornd {

namespace {

constexpr int LEVEL_MAX = 5;
constexpr clsv_daemon DAEMON{CLSVORN_DAEMON_VORND, TAV::VORND};

/// "SYSTEM.vorn.debug.<node>", whose sub-keys are the modules.
std::string levelsKey() {
    std::string key;
    TAV::tavzksGetDebugKey(key, DAEMON.component, "");
    key.erase(key.find_last_not_of(*TAV::TAVRESSP) + 1);
    return std::string(TAV::TAVSYSTEM) + TAV::TAVRESSP + key;
}

/// The key, or the nearest one above it that exists: there its way will begin. Nothing at the top,
/// which would be all resources.
std::unique_ptr<RegistryWatch> watchNear(const Registry& registry, std::string key) {
    while (!key.empty()) {
        try {
            return std::make_unique<RegistryWatch>(registry, key);
        } catch (const RegistryError& error) {
            if (error.status() != PRZKS_NOTFOUND) throw;
        }
        const std::size_t end = key.rfind(*TAV::TAVRESSP);
        key.erase(end == std::string::npos ? 0 : end);
    }
    return nullptr;
}

std::map<std::string, int> readLevels(const Registry& registry) {
    std::map<std::string, int> levels;
    try {
        for (const auto& [module, text] : registry.texts(levelsKey()).values)
            levels[module] = std::clamp(parse_int32(text.data(), text.size()), 0, LEVEL_MAX);
    } catch (const RegistryError& error) {
        if (error.status() != PRZKS_NOTFOUND) throw;
    }
    return levels;
}

} // namespace

void takeLevelsFromRegistry() {
    CLS_Debug::CLSlogStaticData::s_staticData().setIsTorvd(true);
    TAV::tavzksInstallDebugLevels(DAEMON);
    TAV::tavzksinitctx(PRZKS_DEFAULT);
}

DebugLevels::~DebugLevels() {
    stop();
}

bool DebugLevels::start() {
    tryToWatch();
    return m_thread.start([this] { follow(); });
}

void DebugLevels::stop() {
    m_stopping = true;
    m_wakeup.wake();
    m_thread.join();
}

void DebugLevels::refresh() {
    m_wakeup.wake();
}

void DebugLevels::follow() {
    while (!m_stopping) {
        wait();
        tryToWatch();
    }
}

void DebugLevels::tryToWatch() {
    try {
        watch();
    } catch (const std::exception&) {
        m_watch.reset(); // whoever serves the registry tells that it is away
    }
}

/// Until there is something to look at again.
void DebugLevels::wait() {
    const int descriptor = m_watch == nullptr ? -1 : m_watch->descriptor();
    std::array<pollfd, 2> watched{{{m_wakeup.descriptor(), POLLIN, 0}, {descriptor, POLLIN, 0}}};
    const int timeout = m_watch == nullptr ? static_cast<int>(RETRY_INTERVAL.count()) : -1;
    poll(watched.data(), watched.size(), timeout);
    m_wakeup.clear();
}

/// Watches afresh, as the key may be nearer now, and takes what has changed until then.
void DebugLevels::watch() {
    const Registry registry;
    m_watch = watchNear(registry, levelsKey());
    Levels levels = readLevels(registry);
    std::swap(m_levels, levels);
    if (!std::exchange(m_seen, true)) return;
    for (const auto& [module, level] : m_levels) {
        const auto before = levels.find(module);
        if (before != levels.end() && before->second == level) continue;
        clsdcomp* const component = clsdgetcompid(module.c_str());
        if (component == nullptr) continue; // it will ask when it is registered
        clsdset_loglvl(component, static_cast<unsigned>(level));
        logLine("level of module ", printable(module), ": ", level);
    }
}

} // namespace vornd
