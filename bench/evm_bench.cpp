#include "evm/libevm/checksum.h"
#include "evm/libevm/evm.h"
#include "evm/libevm/exchange.h"

#include <benchmark/benchmark.h>
#ifdef VORN_HAVE_MSGPACK
#include <msgpack.h>
#endif
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <csignal>
#include <cstdlib>
#include <filesystem>
#include <fstream>
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

// --- The logger's event: built and read, and the same with a serialization library --------------

constexpr const char* NAME = "sys.zel.clu.vorn.log.ui";
constexpr const char* VARIABLE = "TAV_LOG";
constexpr const char* TEXT = "a line of text";

/// As it goes out: created, given its variable, header and checksum filled in.
void BM_BuildRecord(benchmark::State& state) {
    for (auto _ : state) {
        EvmEvent_t event = nullptr;
        EvmSize_t length = 0;
        EvmEventCreateVa(&event, EvmITEM_NAME, NAME, EvmITEM_NONE);
        EvmVarSetString(event, VARIABLE, TEXT);
        benchmark::DoNotOptimize(EvmEventWriteBuf(&length, event));
        EvmEventDestroy(event);
    }
}
BENCHMARK(BM_BuildRecord);

/// As it comes in: checked, accepted, its variable read.
void BM_ParseRecord(benchmark::State& state) {
    EvmEvent_t event = nullptr;
    EvmSize_t length = 0;
    EvmEventCreateVa(&event, EvmITEM_NAME, NAME, EvmITEM_VAR_STRING, VARIABLE, TEXT, EvmITEM_NONE);
    const auto* const bytes = static_cast<const std::byte*>(EvmEventWriteBuf(&length, event));
    for (auto _ : state) {
        EvmEvent_t read = nullptr;
        char* value = nullptr;
        evm::_evmEventWrap({bytes, length}, &read);
        EvmVarGetString(read, VARIABLE, &value, nullptr);
        benchmark::DoNotOptimize(value);
        std::free(value);
        EvmEventDestroy(read);
    }
    EvmEventDestroy(event);
}
BENCHMARK(BM_ParseRecord);

#ifdef VORN_HAVE_MSGPACK
void packText(msgpack_packer& packer, std::string_view text) {
    msgpack_pack_str(&packer, text.size());
    msgpack_pack_str_body(&packer, text.data(), text.size());
}

void packEvent(msgpack_sbuffer& buffer) {
    msgpack_packer packer;
    msgpack_packer_init(&packer, &buffer, msgpack_sbuffer_write);
    msgpack_pack_map(&packer, 2);
    packText(packer, "name");
    packText(packer, NAME);
    packText(packer, VARIABLE);
    packText(packer, TEXT);
}

void BM_BuildMsgpack(benchmark::State& state) {
    for (auto _ : state) {
        msgpack_sbuffer buffer;
        msgpack_sbuffer_init(&buffer);
        packEvent(buffer);
        benchmark::DoNotOptimize(buffer.data);
        msgpack_sbuffer_destroy(&buffer);
    }
}
BENCHMARK(BM_BuildMsgpack);

void BM_ParseMsgpack(benchmark::State& state) {
    msgpack_sbuffer buffer;
    msgpack_sbuffer_init(&buffer);
    packEvent(buffer);
    for (auto _ : state) {
        msgpack_unpacked unpacked;
        msgpack_unpacked_init(&unpacked);
        msgpack_unpack_next(&unpacked, buffer.data, buffer.size, nullptr);
        const msgpack_object_kv& entry = unpacked.data.via.map.ptr[1];
        std::string value(entry.val.via.str.ptr, entry.val.via.str.size);
        benchmark::DoNotOptimize(value);
        msgpack_unpacked_destroy(&unpacked);
    }
    msgpack_sbuffer_destroy(&buffer);
}
BENCHMARK(BM_ParseMsgpack);
#endif

// --- Posting to a real daemon --------------------------------------------------------------------

/// The daemon of VORN_TEST_BIN in a node of its own; not running when there is no such program.
class Daemon {
public:
    Daemon() {
        const char* const folder = std::getenv("VORN_TEST_BIN");
        const std::string program = std::string(folder != nullptr ? folder : "") + "/evmd";
        if (access(program.c_str(), X_OK) != 0) return;
        const std::string conf = m_folder + "/node.conf";
        std::ofstream(conf) << "runtime_dir = run\nlog_dir = log\n";
        setenv("VORN_NODE_CONF", conf.c_str(), 1);
        std::string name = "evmd";
        char* arguments[] = {name.data(), nullptr};
        if (posix_spawn(&m_process, program.c_str(), nullptr, nullptr, arguments, environ) != 0)
            m_process = -1;
    }
    ~Daemon() {
        if (m_process > 0) {
            kill(m_process, SIGTERM);
            waitpid(m_process, nullptr, 0);
        }
        std::filesystem::remove_all(m_folder);
    }
    Daemon(const Daemon&) = delete;
    Daemon& operator=(const Daemon&) = delete;

    /// A connection once the daemon listens; null when it does not.
    [[nodiscard]] EvmConnection_t connect() const {
        constexpr int ATTEMPTS = 200;
        constexpr useconds_t PAUSE = 10000;
        EvmConnection_t made = nullptr;
        for (int left = m_process > 0 ? ATTEMPTS : 0; left > 0 && made == nullptr; --left) {
            EvmConnCreate(EvmCONNECTION_POST, EvmRESPONSE_WAIT, nullptr, nullptr, nullptr, &made);
            if (made == nullptr) usleep(PAUSE);
        }
        return made;
    }

private:
    std::string m_folder = [] {
        char name[] = "/tmp/evm_bench_XXXXXX";
        return std::string(mkdtemp(name));
    }();
    pid_t m_process = -1;
};

const Daemon& daemon() {
    static const Daemon instance;
    return instance;
}

void BM_PostAndAcknowledge(benchmark::State& state) {
    const EvmConnection_t connection = daemon().connect();
    if (connection == nullptr) return state.SkipWithError("no evmd in VORN_TEST_BIN");
    EvmEvent_t event = nullptr;
    EvmEventCreateVa(&event, EvmITEM_NAME, NAME, EvmITEM_VAR_STRING, VARIABLE, TEXT, EvmITEM_NONE);
    for (auto _ : state)
        if (EvmEventPost(connection, event) != EvmERROR_NONE) state.SkipWithError("not accepted");
    EvmEventDestroy(event);
    EvmConnDestroy(connection);
}
BENCHMARK(BM_PostAndAcknowledge)->UseRealTime();

/// As the command logger does it: a connection for every event.
void BM_ConnectPostDestroy(benchmark::State& state) {
    const EvmConnection_t connection = daemon().connect();
    if (connection == nullptr) return state.SkipWithError("no evmd in VORN_TEST_BIN");
    EvmConnDestroy(connection);
    for (auto _ : state) {
        EvmEvent_t event = nullptr;
        EvmEventCreateVa(&event, EvmITEM_NAME, NAME, EvmITEM_VAR_STRING, VARIABLE, TEXT,
                         EvmITEM_NONE);
        if (EvmEventPost(nullptr, event) != EvmERROR_NONE) state.SkipWithError("not accepted");
        EvmEventDestroy(event);
    }
}
BENCHMARK(BM_ConnectPostDestroy)->UseRealTime();

} // namespace

BENCHMARK_MAIN();
