#include "tav/comm/MessageStream.h"

#include <benchmark/benchmark.h>

#include <algorithm>
#include <cstdint>
#include <memory>
#include <vector>

#include "bench/reply_maker.h"

namespace {

using TAV::Container;
using TAV::Message;
using TAV::MessageStream;

std::unique_ptr<Message> decode(const std::vector<unsigned char>& frame) {
    auto copy = std::make_unique_for_overwrite<unsigned char[]>(frame.size());
    std::copy(frame.begin(), frame.end(), copy.get());
    MessageStream stream(copy.release(), static_cast<unsigned int>(frame.size()));
    return std::unique_ptr<Message>(stream.readMessage());
}

void countBytes(benchmark::State& state, std::size_t bytes) {
    state.SetBytesProcessed(state.iterations() * static_cast<std::int64_t>(bytes));
    state.counters["frame"] = static_cast<double>(bytes);
}

std::vector<unsigned char> frameOf(const benchmark::State& state) {
    return MessageStream().encode(makeReply(static_cast<unsigned int>(state.range(0))));
}

void BM_Encode(benchmark::State& state) {
    const Container reply = makeReply(static_cast<unsigned int>(state.range(0)));
    std::size_t bytes = 0;
    for ([[maybe_unused]] const auto _ : state) {
        const std::vector<unsigned char> frame = MessageStream().encode(reply);
        bytes = frame.size();
        benchmark::DoNotOptimize(frame.data());
    }
    countBytes(state, bytes);
}

void BM_DecodeAndDestroy(benchmark::State& state) {
    const std::vector<unsigned char> frame = frameOf(state);
    for ([[maybe_unused]] const auto _ : state) benchmark::DoNotOptimize(decode(frame));
    countBytes(state, frame.size());
}

/// What a command does that ends right after the reply: the tree is left to the process's end.
void BM_Decode(benchmark::State& state) {
    const std::vector<unsigned char> frame = frameOf(state);
    for ([[maybe_unused]] const auto _ : state) {
        std::unique_ptr<Message> message = decode(frame);
        benchmark::DoNotOptimize(message.get());
        state.PauseTiming();
        message.reset();
        state.ResumeTiming();
    }
    countBytes(state, frame.size());
}

void BM_Copy(benchmark::State& state) {
    const Container reply = makeReply(static_cast<unsigned int>(state.range(0)));
    for ([[maybe_unused]] const auto _ : state) {
        auto copy = std::make_unique<Container>(reply);
        benchmark::DoNotOptimize(copy.get());
        state.PauseTiming();
        copy.reset();
        state.ResumeTiming();
    }
}

void BM_Destroy(benchmark::State& state) {
    const Container reply = makeReply(static_cast<unsigned int>(state.range(0)));
    for ([[maybe_unused]] const auto _ : state) {
        state.PauseTiming();
        auto copy = std::make_unique<Container>(reply);
        state.ResumeTiming();
        copy.reset();
    }
}

void replySizes(benchmark::internal::Benchmark* bench) {
    bench->Arg(1)->Arg(1000)->Arg(20'000)->Unit(benchmark::kMicrosecond);
}

} // namespace

BENCHMARK(BM_Encode)->Apply(replySizes);
BENCHMARK(BM_Decode)->Apply(replySizes);
BENCHMARK(BM_DecodeAndDestroy)->Apply(replySizes);
BENCHMARK(BM_Copy)->Apply(replySizes);
BENCHMARK(BM_Destroy)->Apply(replySizes);

BENCHMARK_MAIN();
