#include "daemons/vornd/RegistrySource.h"

#include "daemons/vornd/DaemonLog.h"
#include "tav/ui/cmd/tavNames.h"

#include <poll.h>

#include <algorithm>
#include <array>
#include <thread>
#include <utility>

namespace vornd {

namespace {

std::string below(const char* area, const std::string& component) {
    return std::string(area) + TAVRESSP + component;
}

/// Whether it is the one key that is to blame, and not the registry.
bool concernsOneKey(int status) {
    return status == PRZKS_IO || status == PRZKS_DENIED;
}

} // namespace

RegistrySource::Link::Link() : resources(registry, TAVRESCUR), permissions(registry, TAVRESSEC) {}

RegistrySource::RegistrySource(Observer observer)
    : m_observer(std::move(observer)), m_table([](const std::string& line) { logLine(line); }) {
    connect();
    m_model = std::make_shared<const ResourceModel>(m_table.resources());
}

RegistrySource::~RegistrySource() {
    stop();
}

bool RegistrySource::start() {
    return m_thread.start([this] { follow(); });
}

void RegistrySource::stop() {
    m_stopping = true;
    m_wakeup.wake();
    m_thread.join();
}

ModelPointer RegistrySource::snapshot() {
    const std::lock_guard lock(m_mutex);
    return m_model;
}

void RegistrySource::refresh() {
    m_reload = true;
    m_wakeup.wake();
}

void RegistrySource::follow() {
    while (!m_stopping) {
        try {
            step();
        } catch (const std::exception& error) {
            lose(error.what());
        }
    }
}

void RegistrySource::step() {
    wait();
    if (m_stopping) return;
    const bool isDue = Clock::now() >= m_nextLook;
    if (m_reload.exchange(false) || (isDue && !m_link)) {
        connect();
        return publish();
    }
    if (isDue) look();
    if (!m_link) return;
    collect(m_link->resources);
    collect(m_link->permissions);
    if (m_reload || m_changed.empty()) return; // all of it in the next step
    readChanged();
    publish();
}

/// Until something changes or the next look is due; changes that follow a model closely are left to
/// gather.
void RegistrySource::wait() {
    const auto untilBatch = m_lastModel + BATCH_TIME - Clock::now();
    if (untilBatch > Clock::duration::zero() && !m_stopping)
        std::this_thread::sleep_for(std::min<Clock::duration>(untilBatch, BATCH_TIME));
    std::array<pollfd, 3> watched{{{m_wakeup.descriptor(), POLLIN, 0}, {-1, 0, 0}, {-1, 0, 0}}};
    if (m_link) {
        watched[1] = {m_link->resources.descriptor(), POLLIN, 0};
        watched[2] = {m_link->permissions.descriptor(), POLLIN, 0};
    }
    const auto left = std::chrono::ceil<std::chrono::milliseconds>(m_nextLook - Clock::now());
    const int timeout = m_reload ? 0 : static_cast<int>(std::max<std::int64_t>(left.count(), 0));
    poll(watched.data(), watched.size(), timeout);
    m_wakeup.clear();
}

/// Opens the registry afresh, watches it and reads all of it. What changes after the watching began
/// is reported.
void RegistrySource::connect() {
    m_nextLook = Clock::now() + LOOK_INTERVAL;
    m_link.reset();
    m_link.emplace();
    loadAll();
    if (!std::exchange(m_lostReason, {}).empty()) logLine("the registry is back");
}

void RegistrySource::loadAll() {
    const Registry::Texts permissions = m_link->registry.texts(TAVRESSEC);
    std::set<std::string> present;
    for (std::string& component : m_link->registry.subkeys(TAVRESCUR)) {
        const auto found = permissions.values.find(component);
        if (const auto fault = permissions.faults.find(component);
            fault != permissions.faults.end())
            m_table.refuse(component, "its permissions: " + fault->second);
        else
            readResource(component, found == permissions.values.end() ? "" : found->second);
        present.insert(present.end(), std::move(component));
    }
    m_table.keepOnly(present);
    m_changed.clear();
}

/// A registry that is shut down, or whose folder is gone, changes no key.
void RegistrySource::look() {
    m_nextLook = Clock::now() + LOOK_INTERVAL;
    Registry().require(TAVRESCUR);
}

void RegistrySource::collect(RegistryWatch& watch) {
    std::string name;
    // A constant stream of changes must not keep what has come from being served.
    while (m_changed.size() < CHANGES_AT_ONCE) {
        switch (watch.next(name)) {
        case PRZKS_CHANGE_NONE:
            return;
        case PRZKS_CHANGE_SUBKEY:
            m_changed.insert(name);
            break;
        case PRZKS_CHANGE_SELF:
            break;
        case PRZKS_CHANGE_ALL:
            m_reload = true;
            return;
        }
    }
}

void RegistrySource::readChanged() {
    for (auto next = m_changed.begin(); next != m_changed.end(); next = m_changed.erase(next))
        readResource(*next);
}

void RegistrySource::readResource(const std::string& component) {
    std::string permissions;
    try {
        permissions = m_link->registry.value(below(TAVRESSEC, component)).value_or("");
    } catch (const RegistryError& error) {
        if (!concernsOneKey(error.status())) throw;
        return m_table.refuse(component, "its permissions: " + std::string(error.what()));
    }
    readResource(component, permissions);
}

void RegistrySource::readResource(const std::string& component, const std::string& permissions) {
    try {
        const Registry::Texts texts = m_link->registry.texts(below(TAVRESCUR, component));
        if (texts.faults.empty()) return m_table.put(component, texts.values, permissions);
        const auto& [name, fault] = *texts.faults.begin();
        m_table.refuse(component, "its value " + name + " " + fault);
    } catch (const RegistryError& error) {
        if (error.status() == PRZKS_NOTFOUND) return m_table.drop(component);
        if (!concernsOneKey(error.status())) throw;
        m_table.refuse(component, error.what());
    }
}

void RegistrySource::publish() {
    const auto model = std::make_shared<const ResourceModel>(m_table.resources());
    {
        const std::lock_guard lock(m_mutex);
        m_model = model;
    }
    m_lastModel = Clock::now();
    if (m_observer) m_observer(model);
}

/// The last model stays in service; the registry is tried again with every look.
void RegistrySource::lose(const std::string& reason) {
    m_link.reset();
    m_changed.clear();
    m_nextLook = Clock::now() + LOOK_INTERVAL;
    if (!m_lostReason.empty()) return;
    m_lostReason = reason.empty() ? "there is none" : reason;
    logLine("the registry is away: ", printable(m_lostReason), "; what was read last is served");
}

} // namespace vornd
