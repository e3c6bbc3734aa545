#include "evm/libevm/exchange.h"
#include "tools/evmshow/InputFile.h"
#include "tools/evmshow/Session.h"

#include <benchmark/benchmark.h>
#include <fcntl.h>
#include <unistd.h>

#include <array>
#include <cstdlib>
#include <string>

namespace {

constexpr int RECORDS = 1'000'000;

void writeAll(int fd, const std::string& bytes) {
    if (write(fd, bytes.data(), bytes.size()) != static_cast<ssize_t>(bytes.size())) std::abort();
}

/// A file of events as a daemon keeps them, one in eight of them a command's; removed at the end.
class EventFile {
public:
    EventFile() {
        std::string path = "/tmp/evmshow_bench_XXXXXX";
        const int fd = mkstemp(path.data());
        if (fd < 0) std::abort();
        std::string bytes;
        for (int number = 0; number < RECORDS; ++number) {
            append(bytes, number);
            if (bytes.size() < 1'000'000 && number + 1 != RECORDS) continue;
            writeAll(fd, bytes);
            m_size += static_cast<std::int64_t>(bytes.size());
            bytes.clear();
        }
        close(fd);
        m_path = path;
    }
    ~EventFile() { unlink(m_path.c_str()); }
    EventFile(const EventFile&) = delete;
    EventFile& operator=(const EventFile&) = delete;

    static const EventFile& get() {
        static const EventFile file;
        return file;
    }
    [[nodiscard]] const std::string& path() const { return m_path; }
    [[nodiscard]] std::int64_t size() const { return m_size; }

private:
    static void append(std::string& bytes, int number) {
        static constexpr std::array<const char*, 8> NAMES{
            "sys.zel.clu.vorn.log.ui",   "sys.zel.clu.vorn.res.state",  "sys.zel.clu.node.up",
            "sys.zel.clu.node.down",     "sys.zel.clu.vorn.res.start",  "sys.zel.clu.disk.full",
            "sys.zel.clu.vorn.res.stop", "sys.zel.clu.vorn.res.failed",
        };
        EvmEvent_t event = nullptr;
        EvmEventCreateVa(&event, EvmITEM_NAME, NAMES[static_cast<std::size_t>(number) % 8],
                         EvmITEM_TIMESTAMP, std::int64_t{1'760'000'000} + number, EvmITEM_PID,
                         std::int64_t{number}, EvmITEM_PPID, std::int64_t{1}, EvmITEM_USER_NAME,
                         "root", EvmITEM_PRIORITY, number % 700, EvmITEM_FORMAT,
                         "resource $name is now $state", EvmITEM_VAR_STRING, "name", "database",
                         EvmITEM_VAR_STRING, "state", "ONLINE", EvmITEM_NONE);
        const evm::Bytes record = evm::_evmEventPrepare(*event);
        bytes.append(static_cast<const char*>(static_cast<const void*>(record.data())),
                     record.size());
        EvmEventDestroy(event);
    }

    std::string m_path;
    std::int64_t m_size = 0;
};

void report(benchmark::State& state) {
    state.SetBytesProcessed(state.iterations() * EventFile::get().size());
    state.SetItemsProcessed(state.iterations() * RECORDS);
}

/// The floor: the same reads, and nothing done with the bytes.
void BM_ReadOnly(benchmark::State& state) {
    static std::array<char, 256 * 1024> buffer;
    const std::string& path = EventFile::get().path();
    for (auto _ : state) {
        const int fd = open(path.c_str(), O_RDONLY | O_CLOEXEC);
        while (read(fd, buffer.data(), buffer.size()) > 0) benchmark::ClobberMemory();
        close(fd);
    }
    report(state);
}
BENCHMARK(BM_ReadOnly)->Unit(benchmark::kMillisecond);

void show(benchmark::State& state, const evmshow::Filter& filter, evmshow::Form form) {
    const std::string& path = EventFile::get().path();
    const evmshow::Descriptor null(open("/dev/null", O_WRONLY | O_CLOEXEC));
    for (auto _ : state) {
        evmshow::Output out(null.get());
        const auto printer = evmshow::makePrinter(form, "name", out);
        evmshow::Session session(filter, printer.get());
        evmshow::InputFile file(path);
        evmshow::SkipReport skips(file.name());
        evmshow::RecordFeed feed;
        while (file.readInto(feed)) session.take(feed, skips);
        benchmark::DoNotOptimize(session.accepted());
    }
    report(state);
}

void BM_Count(benchmark::State& state) {
    show(state, {}, evmshow::Form::COUNT);
}
BENCHMARK(BM_Count)->Unit(benchmark::kMillisecond);

void BM_CountByName(benchmark::State& state) {
    evmshow::Filter filter;
    filter.names.push_back(*evmshow::NamePattern::parse("sys.*.log.*"));
    show(state, filter, evmshow::Form::COUNT);
}
BENCHMARK(BM_CountByName)->Unit(benchmark::kMillisecond);

void BM_PrintOneByName(benchmark::State& state) {
    evmshow::Filter filter;
    filter.names.push_back(*evmshow::NamePattern::parse("sys.*.log.*"));
    show(state, filter, evmshow::Form::LINE);
}
BENCHMARK(BM_PrintOneByName)->Unit(benchmark::kMillisecond);

void BM_PrintLines(benchmark::State& state) {
    show(state, {}, evmshow::Form::LINE);
}
BENCHMARK(BM_PrintLines)->Unit(benchmark::kMillisecond);

void BM_PrintVariable(benchmark::State& state) {
    show(state, {}, evmshow::Form::VARIABLE);
}
BENCHMARK(BM_PrintVariable)->Unit(benchmark::kMillisecond);

} // namespace

BENCHMARK_MAIN();
