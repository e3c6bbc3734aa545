#pragma once

#include "daemons/vornd/Registry.h"
#include "daemons/vornd/ResourceModel.h"
#include "daemons/vornd/ResourceTable.h"
#include "daemons/vornd/Thread.h"
#include "daemons/vornd/Wakeup.h"

#include <atomic>
#include <chrono>
#include <functional>
#include <mutex>
#include <optional>
#include <set>
#include <string>

namespace vornd {

/// The resources that the cluster registry holds, followed as any process changes them.
///
/// A thread of its own reads the registry; requests get the model that it made last. A registry
/// that goes away leaves that model in service, and is read anew when it is back.
class RegistrySource final : public ResourceSource {
public:
    using Observer = std::function<void(const ModelPointer&)>;

    /// Reads all resources; throws RegistryError when the registry cannot be read. `observer` (may
    /// be empty) is told each later model by the source's thread.
    explicit RegistrySource(Observer observer);
    ~RegistrySource() override;

    /// Follows changes from now on; false when no thread can be started.
    bool start();
    void stop();

    ModelPointer snapshot() override;
    /// Makes the source's thread read everything anew, at once.
    void refresh() override;

    /// Between two models, so that a stream of changes does not become a stream of models.
    static constexpr std::chrono::milliseconds BATCH_TIME{50};
    /// Changed resources that are read before a model is made.
    static constexpr std::size_t CHANGES_AT_ONCE = 2'000;
    /// Between two looks whether the registry is there; it may go without a change of a key.
    static constexpr std::chrono::milliseconds LOOK_INTERVAL{2'000};

private:
    using Clock = std::chrono::steady_clock;

    /// An open registry and what it says of changes.
    struct Link {
        Registry registry;
        RegistryWatch resources;
        RegistryWatch permissions;
        Link();
    };

    void follow();
    void step();
    void wait();
    void connect();
    void loadAll();
    void look();
    void collect(RegistryWatch& watch);
    void readChanged();
    void readResource(const std::string& component);
    void readResource(const std::string& component, const std::string& permissions);
    void publish();
    void lose(const std::string& reason);

    const Observer m_observer;
    Wakeup m_wakeup;
    Thread m_thread;
    std::atomic<bool> m_stopping{false};
    std::atomic<bool> m_reload{false};

    // The thread's own once it runs.
    ResourceTable m_table;
    std::optional<Link> m_link;      ///< nothing while the registry is away
    std::set<std::string> m_changed; ///< components to be read again
    std::string m_lostReason;        ///< as logged; empty while the registry is there
    Clock::time_point m_nextLook;
    Clock::time_point m_lastModel;

    std::mutex m_mutex; ///< guards what follows
    ModelPointer m_model = std::make_shared<const ResourceModel>();
};

} // namespace vornd
