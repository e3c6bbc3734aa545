#include "daemons/vornd/Checks.h"

#include "daemons/vornd/DaemonLog.h"
#include "daemons/vornd/ResourceBuilder.h"
#include "daemons/vornd/ResourceTable.h"
#include "daemons/vornd/StatusWords.h"
#include "platform/include/environment.h"
#include "tav/ui/cmd/tavNames.h"

#include <poll.h>

#include <algorithm>
#include <utility>
#include <vector>

namespace vornd {

namespace {

std::int32_t numberIn(const std::optional<std::string>& text) {
    return text ? std::max(parse_int32(text->data(), text->size()), 0) : 0;
}

/// A resource's values of one node in the registry.
class StoredValues {
public:
    StoredValues(const std::string& resource, const std::string& node)
        : m_key(TAVRESCUR + std::string(TAVRESSP) + componentOf(resource)),
          m_mark(NODE_MARK + node) {
        m_registry.require(m_key);
    }
    [[nodiscard]] CheckValues read() const {
        return {value(RES_STATE + m_mark).value_or(""),
                numberIn(value(RES_CURRENT_FAILURE + m_mark)), numberIn(value(RES_RESTART_COUNT))};
    }
    /// The counts first: who sees a state sees what came of it.
    void write(const CheckValues& known, const CheckValues& wanted) const {
        if (wanted.failures != known.failures)
            set(RES_CURRENT_FAILURE + m_mark, std::to_string(wanted.failures));
        if (wanted.returns != known.returns) set(RES_RESTART_COUNT, std::to_string(wanted.returns));
        if (wanted.state != known.state) set(RES_STATE + m_mark, wanted.state);
    }

private:
    [[nodiscard]] std::optional<std::string> value(const std::string& name) const {
        return m_registry.value(m_key + TAVRESSP + name);
    }
    void set(const std::string& name, const std::string& text) const {
        m_registry.set(m_key, name, text);
    }

    Registry m_registry;
    std::string m_key;
    std::string m_mark;
};

} // namespace

Checks::Running::Running(const CheckEnvironment& environment, CheckSetting wanted)
    : setting(std::move(wanted)), process(environment, setting),
      end(Clock::now() + setting.limit + SUPERVISOR_TIME) {}

Checks::Checks(CheckEnvironment environment)
    : m_environment(std::move(environment)),
      m_schedule(m_environment.node, m_environment.scriptFolder) {}

Checks::~Checks() {
    stop();
}

bool Checks::start() {
    return m_thread.start([this] { run(); });
}

void Checks::stop() {
    m_stopping = true;
    m_wakeup.wake();
    m_thread.join();
}

void Checks::take(const ModelPointer& model) {
    {
        const std::lock_guard lock(m_mutex);
        m_model = model;
    }
    m_wakeup.wake();
}

void Checks::run() {
    while (!m_stopping) {
        try {
            takeModel();
            beginDue();
            wait();
            takeReports();
        } catch (const std::exception& error) {
            logLine("checks: ", error.what());
        }
    }
    endAll();
}

void Checks::takeModel() {
    ModelPointer model;
    {
        const std::lock_guard lock(m_mutex);
        model = std::exchange(m_model, nullptr);
    }
    if (model == nullptr) return;
    m_schedule.take(*model, Clock::now());
    std::erase_if(m_known, [&](const auto& known) { return !m_schedule.contains(known.first); });
}

std::size_t Checks::unreported() const {
    return static_cast<std::size_t>(std::count_if(
        m_running.begin(), m_running.end(), [](const Running& check) { return !check.reported; }));
}

void Checks::beginDue() {
    for (std::size_t running = unreported(); running < MAX_RUNNING; ++running) {
        std::optional<CheckSetting> setting = m_schedule.begin(Clock::now());
        if (!setting) return;
        m_running.emplace_back(m_environment, std::move(*setting));
    }
}

Checks::Clock::time_point Checks::nextTime() const {
    auto next = unreported() < MAX_RUNNING ? m_schedule.next() : Clock::time_point::max();
    for (const Running& check : m_running) {
        if (check.process.isGone()) return Clock::now();
        if (!check.reported) next = std::min(next, check.end);
    }
    return next;
}

void Checks::wait() {
    std::vector<pollfd> watched{{m_wakeup.descriptor(), POLLIN, 0}};
    for (const Running& check : m_running)
        watched.push_back({check.process.descriptor(), POLLIN, 0});
    // Looking once more than needed costs nothing, and no time is too long for poll.
    constexpr std::chrono::milliseconds longest{60'000};
    const Clock::time_point next = std::min(nextTime(), Clock::now() + longest);
    const auto left = std::chrono::ceil<std::chrono::milliseconds>(next - Clock::now());
    poll(watched.data(), watched.size(), static_cast<int>(std::max<std::int64_t>(left.count(), 0)));
    m_wakeup.clear();
}

void Checks::takeReports() {
    for (auto next = m_running.begin(); next != m_running.end();) {
        const auto check = next++;
        watchOver(*check);
        if (!check->reported || !check->process.isGone()) continue;
        m_schedule.finished(check->setting.resource);
        m_running.erase(check);
    }
}

void Checks::watchOver(Running& check) {
    std::optional<CheckReport> report = check.process.take();
    if (!report && !check.reported && Clock::now() >= check.end) {
        check.process.kill();
        report = CheckReport{};
    }
    if (!report || std::exchange(check.reported, true)) return;
    conclude(check.setting, *report);
}

void Checks::conclude(const CheckSetting& setting, const CheckReport& report) {
    if (!m_schedule.contains(setting.resource)) return;
    Known& known = m_known[setting.resource];
    try {
        record(setting, report, known);
        complain(known, setting, report.isFailure() ? report.text() : "");
    } catch (const RegistryError& error) {
        if (error.status() == PRZKS_NOTFOUND) return; // unregistered meanwhile
        complain(known, setting, std::string("its result is not kept: ") + error.what());
    }
}

void Checks::record(const CheckSetting& setting, const CheckReport& report, Known& known) {
    const StoredValues stored(setting.resource, m_environment.node);
    const CheckValues before = stored.read();
    const CheckValues after =
        known.history.note(before, report, setting.failureInterval, Clock::now());
    stored.write(before, after);
    known.history.written();
    if (after.state == before.state) return;
    logLine("resource ", printable(setting.resource), ": ", after.state, " (was ",
            before.state.empty() ? "unknown" : printable(before.state), "): its check ",
            report.text());
}

void Checks::complain(Known& known, const CheckSetting& setting, const std::string& trouble) {
    if (std::exchange(known.trouble, trouble) == trouble || trouble.empty()) return;
    logLine("check of ", printable(setting.resource), ": ", printable(setting.script), " ",
            printable(trouble));
}

void Checks::endAll() {
    const Clock::time_point end = Clock::now() + STOP_TIME;
    for (const Running& check : m_running) check.process.end();
    while (!m_running.empty() && Clock::now() < end) {
        std::vector<pollfd> watched;
        for (const Running& check : m_running)
            watched.push_back({check.process.descriptor(), POLLIN, 0});
        const auto left = std::chrono::ceil<std::chrono::milliseconds>(end - Clock::now());
        poll(watched.data(), watched.size(), static_cast<int>(left.count()));
        for (Running& check : m_running) check.process.take();
        m_running.remove_if([](const Running& check) { return check.process.isGone(); });
    }
    m_running.clear();
}

} // namespace vornd
