#include "platform/include/clss.h"
#include "tav/cluster/Cluster.h"
#include "tav/cluster/clu.h"

#include <benchmark/benchmark.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <csignal>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <map>
#include <string>

// What a lock and a question about the membership cost. The cluster's shared folder stands below
// $TMPDIR (else /tmp).

namespace {

/// Three nodes, of which this process is one, for the process's life.
class BenchCluster {
public:
    BenchCluster() {
        const char* const folder = std::getenv("TMPDIR");
        m_folder = std::string(folder != nullptr ? folder : "/tmp") + "/vorn-cluster-bench-XXXXXX";
        if (mkdtemp(m_folder.data()) == nullptr) std::abort();
        const std::string conf = m_folder + "/node.conf";
        std::ofstream(conf) << "node_name = alpha\nnodes = 1:alpha, 2:beta, 3:gamma\n"
                               "runtime_dir = run\nlog_dir = log\n";
        setenv("VORN_NODE_CONF", conf.c_str(), 1);
        const bool started =
            clsssinit(nullptr, &m_service, nullptr, nullptr, CLSSS_MODE_LOCKS) == CLSS_OK &&
            clss_member_hold(m_service, &m_member, nullptr) == CLSS_OK;
        if (!started) std::abort();
    }
    BenchCluster(const BenchCluster&) = delete;
    BenchCluster& operator=(const BenchCluster&) = delete;
    ~BenchCluster() { std::filesystem::remove_all(m_folder); }

    [[nodiscard]] clsssctx* service() const { return m_service; }

private:
    std::string m_folder;
    clsssctx* m_service = nullptr;
    clss_member* m_member = nullptr;
};

const BenchCluster& cluster() {
    static const BenchCluster made;
    return made;
}

void lock_and_unlock(const std::string& name) {
    const auto* const text = reinterpret_cast<const unsigned char*>(name.c_str());
    clssls_handle handle;
    if (clsslsmutexlock(&handle, cluster().service(), text) != CLSS_OK ||
        clsslsunlock(cluster().service(), text) != CLSS_OK)
        std::abort();
}

/// Alone, or with as many threads as wait for the same lock.
void BM_Lock(benchmark::State& state) {
    const std::string name(static_cast<std::size_t>(state.range(0)), 'n');
    for (auto _ : state) lock_and_unlock(name);
}
BENCHMARK(BM_Lock)->Arg(20)->Arg(static_cast<int>(CLSSLS_NAME_MAX));
BENCHMARK(BM_Lock)->Arg(20)->Threads(8)->UseRealTime();

/// One of eight processes that take a lock as often as they can.
void BM_LockAmongProcesses(benchmark::State& state) {
    std::array<pid_t, 7> others{};
    cluster();
    for (pid_t& pid : others) {
        pid = fork();
        while (pid == 0) lock_and_unlock("contended");
    }
    for (auto _ : state) lock_and_unlock("contended");
    for (const pid_t pid : others) {
        kill(pid, SIGKILL);
        waitpid(pid, nullptr, 0);
    }
}
BENCHMARK(BM_LockAmongProcesses)->UseRealTime()->Iterations(20000);

void BM_GroupQuery(benchmark::State& state) {
    clssgsmap members;
    for (auto _ : state)
        benchmark::DoNotOptimize(clssgsqgrp(cluster().service(), "vorn_NG", &members, nullptr));
}
BENCHMARK(BM_GroupQuery);

void BM_GetId(benchmark::State& state) {
    cluster();
    for (auto _ : state) benchmark::DoNotOptimize(TAV::Cluster::getId("gamma"));
}
BENCHMARK(BM_GetId);

void BM_GetMembers(benchmark::State& state) {
    cluster();
    std::map<std::string, int> members;
    for (auto _ : state) benchmark::DoNotOptimize(TAV::Cluster::getMembers(members));
}
BENCHMARK(BM_GetMembers);

} // namespace

BENCHMARK_MAIN();
