#include "tests/cmd/stat_probe.h"

#include <benchmark/benchmark.h>

#include <memory>
#include <string>

#include "bench/reply_maker.h"

namespace {

using TAV::CmdStat;
using TAV::Container;

using Records = std::vector<std::pair<std::string, TAV::rtnData>>;

/// Turning a reply into records. What is left over is not destroyed in the measured time, as it
/// never is in a run.
void BM_ProcessReply(benchmark::State& state) {
    const Container made = makeReply(static_cast<unsigned>(state.range(0)));
    for (auto _ : state) {
        state.PauseTiming();
        auto reply = std::make_unique<Container>(made);
        auto command = std::make_unique<StatProbe>();
        state.ResumeTiming();
        benchmark::DoNotOptimize(command->take(std::move(reply)));
        state.PauseTiming();
        command.reset();
        state.ResumeTiming();
    }
    state.SetItemsProcessed(state.iterations() * state.range(0));
}

/// Records with what the wider layouts print beside the reply's own items.
Records makeRecords(unsigned resources) {
    StatProbe command;
    command.take(makeReply(resources));
    for (auto& [name, record] : command.statRecords) {
        record.attributes["ACL"] = "owner:root:rwx,pgrp:staff:r-x,other::r--";
        record.attributes["CURRENT_RCOUNT"] = "1";
        record.attributes["FAILURE_THRESHOLD"] = "5";
        record.attributes["RESTART_ATTEMPTS"] = "3";
        record.failures["alpha"] = "0";
    }
    return std::move(command.statRecords);
}

void BM_Render(benchmark::State& state, int form, bool verbose) {
    const Records records = makeRecords(static_cast<unsigned>(state.range(0)));
    std::size_t length = 0;
    for (auto _ : state) {
        state.PauseTiming();
        auto command = std::make_unique<StatProbe>();
        command->statRecords = records;
        state.ResumeTiming();
        command->render(form, verbose);
        state.PauseTiming();
        length = command->logger.m_text.size();
        command.reset();
        state.ResumeTiming();
    }
    state.SetItemsProcessed(state.iterations() * state.range(0));
    state.counters["text"] = static_cast<double>(length);
}

void sizes(benchmark::internal::Benchmark* benchmark) {
    benchmark->Arg(1)->Arg(1'000)->Arg(20'000)->Unit(benchmark::kMicrosecond);
}

BENCHMARK(BM_ProcessReply)->Apply(sizes);
BENCHMARK_CAPTURE(BM_Render, blocks, CmdStat::FORM_BLOCKS, false)->Apply(sizes);
BENCHMARK_CAPTURE(BM_Render, blocks_verbose, CmdStat::FORM_BLOCKS, true)->Apply(sizes);
BENCHMARK_CAPTURE(BM_Render, profile, CmdStat::FORM_PROFILE, false)->Apply(sizes);
BENCHMARK_CAPTURE(BM_Render, table, CmdStat::FORM_TABLE, false)->Apply(sizes);
BENCHMARK_CAPTURE(BM_Render, table_verbose, CmdStat::FORM_TABLE, true)->Apply(sizes);
BENCHMARK_CAPTURE(BM_Render, permissions, CmdStat::FORM_PERMISSIONS, false)->Apply(sizes);

} // namespace

BENCHMARK_MAIN();
