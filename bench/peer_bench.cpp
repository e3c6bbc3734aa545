#include "platform/include/registry.h"
#include "tav/comm/CommException.h"
#include "tav/comm/Connection.h"
#include "tav/comm/MessageStream.h"
#include "tav/comm/PeerAddresses.h"
#include "tav/comm/ServerSocket.h"
#include "tav/comm/Socket.h"
#include "tav/comm/clscContext.h"
#include "tav/registry/tavzks.h"

#include <benchmark/benchmark.h>

#include <atomic>
#include <chrono>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <list>
#include <memory>
#include <string>
#include <thread>
#include <vector>

// What a request to the daemons of other nodes costs: real listeners on the loopback interface, one
// thread each, which answer with a reply of the size of one resource, at once or after the time
// that a busy daemon or the network takes. The registry stands below $TMPDIR (else /tmp).

namespace {

constexpr unsigned NODES = 32;
std::atomic<int> answer_ms{0}; ///< how long a daemon takes for its answer

void require(bool good) {
    if (!good) std::abort();
}

std::string nodeName(unsigned number) {
    return "node" + std::to_string(number);
}

/// The daemon of a node.
class NodeDaemon {
public:
    NodeDaemon(clscugblm* area, std::string address)
        : m_listener(TAV::tavgetclscctx(), area, reinterpret_cast<unsigned char*>(address.data()),
                     nullptr),
          m_thread([this] { serve(); }) {}
    NodeDaemon(const NodeDaemon&) = delete;
    NodeDaemon& operator=(const NodeDaemon&) = delete;
    ~NodeDaemon() {
        m_listener.interruptConnection();
        m_thread.join();
        m_listener.close();
    }

    [[nodiscard]] std::string address() const {
        unsigned char text[CLSC_ADDRESS_SIZE];
        require(clscgetaddr(m_listener.getHandle(), text, sizeof text, CLSC_ADDR_LOCAL) == CLSC_OK);
        return reinterpret_cast<const char*>(text);
    }

private:
    void serve() {
        TAV::Container reply;
        reply.SetProperty("NAME", "app000000.svc");
        reply.SetProperty("STATE", "ONLINE");
        TAV::Socket client;
        while (m_listener.accept(&client, true) == CLSC_OK) {
            TAV::MessageStream stream(&client);
            const std::unique_ptr<TAV::Message> request(stream.readMessage());
            std::this_thread::sleep_for(std::chrono::milliseconds(answer_ms));
            stream.writeMessage(reply);
            client.release();
        }
    }

    TAV::ServerSocket m_listener;
    std::thread m_thread;
};

/// A cluster of that many nodes, whose daemons stand in the registry.
class Cluster {
public:
    Cluster() {
        const char* const folder = std::getenv("TMPDIR");
        m_folder = std::string(folder != nullptr ? folder : "/tmp") + "/peer-bench-XXXXXX";
        require(mkdtemp(m_folder.data()) != nullptr);
        const std::string conf = m_folder + "/node.conf";
        std::ofstream(conf) << "node_name = alpha\nruntime_dir = run\nlog_dir = log\n"
                               "cluster_registry = dir:zks\nlocal_registry = dir:zkl\n";
        setenv("VORN_NODE_CONF", conf.c_str(), 1);
        require(przks_create_store(nullptr, nullptr, nullptr, nullptr) == PRZKS_OK);
        require(TAV::tavzksinitctx(PRZKS_DEFAULT) == PRZKS_OK);
        clscugblm* area = nullptr;
        require(clscugblmini(TAV::tavgetclscctx(), &area, 0) == CLSC_OK);
        for (unsigned i = 0; i < NODES; ++i) {
            m_daemons.emplace_back(area, "(ADDRESS=(PROTOCOL=tcp)(HOST=127.0.0.1)(PORT=0))");
            const std::string address = m_daemons.back().address();
            require(TAV::tavzksWrite(("SYSTEM.vorn.e2eport." + nodeName(i)).c_str(),
                                     address.c_str(),
                                     static_cast<unsigned>(address.size() + 1)) == PRZKS_OK);
        }
        TAV::tavzksTerm();
    }
    Cluster(const Cluster&) = delete;
    Cluster& operator=(const Cluster&) = delete;
    ~Cluster() { std::filesystem::remove_all(m_folder); }

private:
    std::string m_folder;
    std::list<NodeDaemon> m_daemons;
};

void ask(unsigned node, bool freshAddress) {
    const std::string name = nodeName(node);
    if (freshAddress) TAV::forgetPeerAddress(name);
    const TAV::Container request("UI_STAT");
    TAV::Container* reply = nullptr;
    require(TAV::Connection().invokepeer(request, &reply, name) == TAV::CONNECTION_OK);
    const std::unique_ptr<TAV::Container> owned(reply);
}

void oneAfterAnother(unsigned nodes, bool freshAddress) {
    for (unsigned node = 0; node < nodes; ++node) ask(node, freshAddress);
}

void inParallel(unsigned nodes, bool freshAddress) {
    std::vector<std::thread> threads;
    threads.reserve(nodes);
    for (unsigned node = 0; node < nodes; ++node) threads.emplace_back(ask, node, freshAddress);
    for (std::thread& thread : threads) thread.join();
}

/// A request to each of so many nodes; `fresh` reads every address from the registry.
void BM_AskNodes(benchmark::State& state, void (*askAll)(unsigned, bool)) {
    static const Cluster cluster;
    const auto nodes = static_cast<unsigned>(state.range(0));
    const bool fresh = state.range(1) != 0;
    oneAfterAnother(NODES, true);
    answer_ms = static_cast<int>(state.range(2));
    for ([[maybe_unused]] const auto _ : state) askAll(nodes, fresh);
    answer_ms = 0;
}

void sizes(benchmark::internal::Benchmark* bench) {
    bench->ArgNames({"nodes", "fresh", "answer_ms"});
    bench->ArgsProduct({{1, 8, NODES}, {0, 1}, {0, 2, 20}});
    bench->Unit(benchmark::kMicrosecond)->UseRealTime();
}
BENCHMARK_CAPTURE(BM_AskNodes, one_after_another, oneAfterAnother)->Apply(sizes);
BENCHMARK_CAPTURE(BM_AskNodes, in_parallel, inParallel)->Apply(sizes);

} // namespace

BENCHMARK_MAIN();
