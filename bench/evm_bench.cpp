#include "evm/libevm/checksum.h"
#include "evm/libevm/evm.h"

#include <benchmark/benchmark.h>

#include <cstdlib>
#include <string>
#include <vector>

namespace {

/// Most events: a name and one variable.
void BM_CreateSmall(benchmark::State& state) {
    for (auto _ : state) {
        EvmEvent_t event = nullptr;
        EvmEventCreateVa(&event, EvmITEM_NAME, "sys.zel.clu.vorn.log.ui", EvmITEM_VAR_STRING,
                         "TAV_LOG", "a line of text", EvmITEM_NONE);
        benchmark::DoNotOptimize(event);
        EvmEventDestroy(event);
    }
}
BENCHMARK(BM_CreateSmall)->ThreadRange(1, 2);

void BM_CreateNameOnly(benchmark::State& state) {
    for (auto _ : state) {
        EvmEvent_t event = nullptr;
        EvmEventCreateVa(&event, EvmITEM_NAME, "sys.zel.clu.vorn.log.ui", EvmITEM_NONE);
        benchmark::DoNotOptimize(event);
        EvmEventDestroy(event);
    }
}
BENCHMARK(BM_CreateNameOnly);

void BM_CreateTwentyItems(benchmark::State& state) {
    for (auto _ : state) {
        EvmEvent_t event = nullptr;
        EvmEventCreateVa(
            &event, EvmITEM_NAME, "sys.zel.clu.vorn.log.ui", EvmITEM_PRIORITY, 200, EvmITEM_PID,
            std::int64_t{1}, EvmITEM_PPID, std::int64_t{2}, EvmITEM_TIMESTAMP, std::int64_t{3},
            EvmITEM_HOST_NAME, "alpha", EvmITEM_USER_NAME, "root", EvmITEM_CLUSTER_NAME, "vorn",
            EvmITEM_REPEAT_COUNT, 2, EvmITEM_FORMAT, "$a $b $c", EvmITEM_VAR_INT32, "a", 1,
            EvmITEM_VAR_INT64, "b", std::int64_t{2}, EvmITEM_VAR_STRING, "c", "text",
            EvmITEM_VAR_DOUBLE, "d", 1.5, EvmITEM_VAR_BOOLEAN, "e", 1, EvmITEM_VAR_UINT16, "f", 6,
            EvmITEM_VAR_STRING, "g", "more text", EvmITEM_VAR_CHAR, "h", 'h', EvmITEM_VAR_UINT64,
            "i", std::uint64_t{9}, EvmITEM_VAR_OPAQUE, "j", "data", 4, EvmITEM_NONE);
        benchmark::DoNotOptimize(event);
        EvmEventDestroy(event);
    }
}
BENCHMARK(BM_CreateTwentyItems);

/// An event of `count` variables, and their names.
class ManyVariables {
public:
    explicit ManyVariables(std::int64_t count) {
        EvmEventCreateVa(&m_event, EvmITEM_NAME, "a.b", EvmITEM_NONE);
        for (std::int64_t number = 0; number < count; ++number) {
            m_names.push_back("variable_" + std::to_string(number));
            EvmVarSetUint32(m_event, m_names.back().c_str(), 1);
        }
    }
    ~ManyVariables() { EvmEventDestroy(m_event); }
    ManyVariables(const ManyVariables&) = delete;
    ManyVariables& operator=(const ManyVariables&) = delete;

    [[nodiscard]] EvmEvent_t event() const { return m_event; }
    const char* nextName() { return m_names[m_next++ % m_names.size()].c_str(); }

private:
    EvmEvent_t m_event = nullptr;
    std::vector<std::string> m_names;
    std::size_t m_next = 0;
};

void BM_ReadAmongVariables(benchmark::State& state) {
    ManyVariables many(state.range(0));
    for (auto _ : state) {
        std::uint32_t value = 0;
        EvmVarGetUint32(many.event(), many.nextName(), &value);
        benchmark::DoNotOptimize(value);
    }
}
BENCHMARK(BM_ReadAmongVariables)->Arg(10)->Arg(100)->Arg(1000);

/// The replaced one is always the first: everything behind it moves.
void BM_ReplaceAmongVariables(benchmark::State& state) {
    ManyVariables many(state.range(0));
    for (auto _ : state) EvmVarSetUint32(many.event(), many.nextName(), 2);
}
BENCHMARK(BM_ReplaceAmongVariables)->Arg(10)->Arg(100)->Arg(1000);

void BM_BuildVariableByVariable(benchmark::State& state) {
    for (auto _ : state) {
        const ManyVariables many(state.range(0));
        benchmark::DoNotOptimize(many.event());
    }
}
BENCHMARK(BM_BuildVariableByVariable)->Arg(100);

void BM_Checksum(benchmark::State& state) {
    std::vector<std::byte> record(static_cast<std::size_t>(state.range(0)), std::byte{0xA5});
    evm::store(std::span<std::byte>(record), offsetof(EvmEventHead_t, control.size),
               static_cast<std::uint32_t>(record.size()));
    for (auto _ : state) benchmark::DoNotOptimize(evm::_evmChecksumCalc(record));
    state.SetBytesProcessed(state.iterations() * state.range(0));
}
BENCHMARK(BM_Checksum)->Arg(1 << 10)->Arg(1 << 20);

void BM_FormatByTemplate(benchmark::State& state) {
    EvmEvent_t event = nullptr;
    EvmEventCreateVa(&event, EvmITEM_NAME, "a.b", EvmITEM_PRIORITY, 200, EvmITEM_USER_NAME, "root",
                     EvmITEM_FORMAT, "resource $name is now $state", EvmITEM_VAR_STRING, "name",
                     "database", EvmITEM_VAR_STRING, "state", "ONLINE", EvmITEM_NONE);
    char text[256];
    for (auto _ : state) {
        EvmEventFormatFromTemplate(text, sizeof text, "@user_name%8 [@priority%3] @@", event);
        benchmark::DoNotOptimize(text);
    }
    EvmEventDestroy(event);
}
BENCHMARK(BM_FormatByTemplate);

} // namespace

BENCHMARK_MAIN();
