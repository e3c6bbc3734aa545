#include "daemons/vornd/RegistrySource.h"
#include "daemons/vornd/ReplyCache.h"
#include "daemons/vornd/ResourceRecord.h"
#include "daemons/vornd/RestatedModel.h"
#include "platform/include/registry.h"
#include "tav/comm/MessageStream.h"

#include <benchmark/benchmark.h>

#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <memory>
#include <string>
#include <utility>
#include <vector>

// What the daemon's start and its replies cost with the resources of a large cluster. The registry
// stands below $TMPDIR (else /tmp).

namespace {

constexpr int RESOURCES = 20'000;

void require(bool good) {
    if (!good) std::abort();
}

/// A node with a filled registry, made once and removed at the end.
class LargeNode {
public:
    LargeNode() {
        const char* const folder = std::getenv("TMPDIR");
        m_folder = std::string(folder != nullptr ? folder : "/tmp") + "/vornd-bench-XXXXXX";
        require(mkdtemp(m_folder.data()) != nullptr);
        const std::string conf = m_folder + "/node.conf";
        std::ofstream(conf) << "node_name = alpha\nlog_dir = log\ncluster_registry = dir:zks\n";
        setenv("VORN_NODE_CONF", conf.c_str(), 1);
        require(przks_create_store(nullptr, nullptr, nullptr, nullptr) == 0);
        przks_init_arg arg{PRZKS_INIT_BULK, nullptr};
        require(przks_init_ext2(&m_ctx, PRZKS_DEFAULT, nullptr, nullptr, &arg) == 0);
        for (int i = 0; i < RESOURCES; ++i) addResource(i);
        przks_terminate(std::exchange(m_ctx, nullptr));
    }
    LargeNode(const LargeNode&) = delete;
    LargeNode& operator=(const LargeNode&) = delete;
    ~LargeNode() { std::filesystem::remove_all(m_folder); }

private:
    void set(const std::string& key, const std::string& text) {
        require(przks_create_n_set_key(m_ctx, nullptr, key.c_str(), nullptr, przks_dtype_ZELTEXT,
                                       text.c_str(), static_cast<unsigned>(text.size() + 1),
                                       nullptr) == 0);
    }
    /// Of the size that makes a listing of all close to the largest frame.
    void addResource(int index) {
        char component[32];
        std::snprintf(component, sizeof component, "app%06d!svc", index);
        std::string name = component;
        name[name.find('!')] = '.';
        const std::pair<const char*, std::string> values[] = {
            {"NAME", name},
            {"TYPE", "app"},
            {"AUTO_START", "restore"},
            {"ACTION_SCRIPT", name},
            {"CHECK_INTERVAL", "0"},
            {"DESCRIPTION", "one of many"},
            {"PLACEMENT", "favored"},
            {"RESTART_ATTEMPTS", "5"},
            {"FAILURE_THRESHOLD", "3"},
            {"HOSTING_MEMBERS", "alpha beta"},
            {"STATE@alpha", index % 5 == 0 ? "OFFLINE" : "ONLINE"},
            {"TARGET@alpha", "ONLINE"}};
        for (const auto& [attribute, text] : values)
            set("VORN.CUR." + std::string(component) + "." + attribute, text);
        set("VORN.SEC." + std::string(component), "owner:root:rwx,other::r--");
    }

    std::string m_folder;
    przks_ctx* m_ctx = nullptr;
};

class AnyUser final : public vornd::Caller {
public:
    explicit AnyUser(bool administrator) : m_administrator(administrator) {}
    [[nodiscard]] const std::string& name() const override { return m_name; }
    bool isAdministrator() override { return m_administrator; }
    bool belongsTo(const std::string&) override { return false; }

private:
    std::string m_name = "somebody";
    bool m_administrator;
};

vornd::ModelPointer largeModel() {
    static const LargeNode node;
    static vornd::RegistrySource source(nullptr);
    return source.snapshot();
}

const vornd::Members MEMBERS{"alpha"};
const TAV::Container REQUEST("UI_STAT");

void countBytes(benchmark::State& state, std::size_t bytes) {
    state.SetBytesProcessed(state.iterations() * static_cast<std::int64_t>(bytes));
    require(bytes > 5'000'000); // not the refusal of a reply that is too large
    state.counters["frame"] = static_cast<double>(bytes);
}

void BM_Start(benchmark::State& state) {
    largeModel();
    for ([[maybe_unused]] const auto _ : state) {
        vornd::RegistrySource source(nullptr);
        require(source.snapshot()->resources().size() == RESOURCES);
    }
}

void BM_EncodeOnly(benchmark::State& state) {
    AnyUser user(true);
    const auto reply = vornd::answerStatus(REQUEST, user, *largeModel(), MEMBERS);
    std::size_t bytes = 0;
    for ([[maybe_unused]] const auto _ : state) {
        const auto frame = TAV::MessageStream().encode(*reply);
        bytes = frame.size();
        benchmark::DoNotOptimize(frame.data());
    }
    countBytes(state, bytes);
}

/// As for a caller who may not read everything.
void BM_BuildAndEncode(benchmark::State& state) {
    AnyUser user(true);
    const vornd::ModelPointer model = largeModel();
    std::size_t bytes = 0;
    for ([[maybe_unused]] const auto _ : state) {
        const auto reply = vornd::answerStatus(REQUEST, user, *model, MEMBERS);
        const auto frame = TAV::MessageStream().encode(*reply);
        bytes = frame.size();
        benchmark::DoNotOptimize(frame.data());
    }
    countBytes(state, bytes);
}

/// Argument 1: an administrator; 0: a user whom every list has to grant it.
void BM_ServeWarm(benchmark::State& state) {
    const vornd::ModelPointer model = largeModel();
    vornd::ReplyCache cache;
    std::size_t bytes = 0;
    for ([[maybe_unused]] const auto _ : state) {
        AnyUser user(state.range(0) == 1);
        const vornd::FramePointer frame = cache.frameFor(REQUEST, user, model, MEMBERS);
        bytes = frame->size();
        benchmark::DoNotOptimize(frame->data());
    }
    countBytes(state, bytes);
}

constexpr int SPREAD_RESOURCES = 10'000;
constexpr int SPREAD_NODES = 32;

std::string spreadNode(int index) {
    return "node" + std::to_string(index % SPREAD_NODES);
}

/// Resources that run on the nodes of a large cluster in turn.
vornd::ModelPointer spreadModel() {
    std::vector<vornd::ResourcePointer> resources;
    for (int i = 0; i < SPREAD_RESOURCES; ++i) {
        char name[32];
        std::snprintf(name, sizeof name, "app%06d.svc", i);
        vornd::ResourceRecord record{
            {"NAME", name}, {"TYPE", "app"}, {"AUTO_START", "restore"}, {"IS_RUNNABLE", "1"}};
        record["STATE@" + spreadNode(i)] = "ONLINE";
        record["TARGET@" + spreadNode(i)] = "ONLINE";
        auto resource = std::make_shared<vornd::Resource>();
        vornd::ProfileFault fault;
        require(vornd::resourceOf(record, "other::r--", *resource, fault));
        resources.push_back(std::move(resource));
    }
    return std::make_shared<const vornd::ResourceModel>(std::move(resources));
}

/// The first listing after one of 32 nodes went down: its states made UNKNOWN, the reply built and
/// encoded.
void BM_StatusOverManyNodes(benchmark::State& state) {
    const vornd::ModelPointer model = spreadModel();
    const std::string down = spreadNode(SPREAD_NODES - 1);
    const auto rule = [&](const vornd::Resource&, const std::string& node) {
        return node == down ? &vornd::unknownState() : nullptr;
    };
    AnyUser user(true);
    std::size_t bytes = 0;
    for ([[maybe_unused]] const auto _ : state) {
        const vornd::ModelPointer now = vornd::restated(model, rule);
        const auto frame =
            TAV::MessageStream().encode(*vornd::answerStatus(REQUEST, user, *now, MEMBERS));
        bytes = frame.size();
        benchmark::DoNotOptimize(frame.data());
    }
    state.SetBytesProcessed(state.iterations() * static_cast<std::int64_t>(bytes));
    state.counters["frame"] = static_cast<double>(bytes);
}

} // namespace

BENCHMARK(BM_StatusOverManyNodes)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_Start)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_EncodeOnly)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_BuildAndEncode)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_ServeWarm)->Arg(1)->Arg(0)->Unit(benchmark::kMillisecond);

BENCHMARK_MAIN();
