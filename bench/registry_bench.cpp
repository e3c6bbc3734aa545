#include "platform/include/registry.h"

#include <benchmark/benchmark.h>

#include <cstdlib>
#include <filesystem>
#include <string>

// What reading, listing and changing the registry costs. The store stands below $TMPDIR (else
// /tmp), so that figures can be taken for a disk and for memory.

namespace {

constexpr int ATTRIBUTES = 12;

/// VORN_BENCH_RESOURCES makes the store larger: creating it takes its time on a disk.
int resources() {
    static const char* const wanted = std::getenv("VORN_BENCH_RESOURCES");
    static const int count =
        wanted != nullptr ? static_cast<int>(std::strtol(wanted, nullptr, 10)) : 1000;
    return count;
}

void require(int status) {
    if (status != PRZKS_OK) std::abort();
}

std::string resource_name(int index) {
    return "VORN.CUR.app!db!resource" + std::to_string(index);
}

/// A store with the size of a large cluster's, made once and removed at the end.
class LargeStore {
public:
    LargeStore() {
        const char* const folder = std::getenv("TMPDIR");
        m_folder = std::string(folder != nullptr ? folder : "/tmp") + "/vorn-registry-bench-XXXXXX";
        if (mkdtemp(m_folder.data()) == nullptr) std::abort();
        m_url = "dir:" + m_folder + "/zks";
        require(przks_create_store(m_url.c_str(), nullptr, nullptr, nullptr));
        przks_ctx* const bulk = open(PRZKS_DEFAULT, PRZKS_INIT_BULK);
        for (int i = 0; i < resources(); ++i) add_resource(bulk, i);
        require(przks_sync(bulk));
        przks_terminate(bulk);
    }
    LargeStore(const LargeStore&) = delete;
    LargeStore& operator=(const LargeStore&) = delete;
    ~LargeStore() { std::filesystem::remove_all(m_folder); }

    [[nodiscard]] przks_ctx* open(unsigned level, unsigned flags = 0) const {
        przks_init_arg arg{flags, m_url.c_str()};
        przks_ctx* ctx = nullptr;
        require(przks_init_ext2(&ctx, level, nullptr, nullptr, &arg));
        return ctx;
    }

private:
    static void add_resource(przks_ctx* ctx, int index) {
        for (int attribute = 0; attribute < ATTRIBUTES; ++attribute) {
            const std::string name =
                resource_name(index) + ".ATTRIBUTE" + std::to_string(attribute);
            const std::string value = "a value of the usual length " + std::to_string(index);
            require(przks_create_n_set_key(ctx, nullptr, name.c_str(), nullptr, przks_dtype_ZELTEXT,
                                           value.c_str(), static_cast<unsigned>(value.size() + 1),
                                           nullptr));
        }
    }

    std::string m_folder;
    std::string m_url;
};

const LargeStore& store() {
    static const LargeStore large;
    return large;
}

void read_key(przks_ctx* ctx, const char* name, przks_key* parent = nullptr) {
    char buffer[PRZKS_MAX_VALUE];
    unsigned length = sizeof buffer;
    przks_key* key = nullptr;
    require(przks_open_key(ctx, name, &key, parent));
    require(przks_get_value(ctx, key, nullptr, buffer, &length));
    require(przks_close_key(ctx, key));
    benchmark::DoNotOptimize(buffer[0]);
}

void open_context(benchmark::State& state) {
    store();
    for (auto _ : state) przks_terminate(store().open(PRZKS_DEFAULT));
}
BENCHMARK(open_context)->Unit(benchmark::kMicrosecond);

void read_one(benchmark::State& state) {
    przks_ctx* const ctx = store().open(static_cast<unsigned>(state.range(0)));
    const std::string name = resource_name(471) + ".ATTRIBUTE3";
    for (auto _ : state) read_key(ctx, name.c_str());
    przks_terminate(ctx);
}
BENCHMARK(read_one)
    ->Arg(PRZKS_DEFAULT)
    ->Arg(PRZKS_REBOOT)
    ->Arg(PRZKS_CACHE)
    ->Unit(benchmark::kMicrosecond);

/// The value of a key that is open already.
void read_open(benchmark::State& state) {
    przks_ctx* const ctx = store().open(static_cast<unsigned>(state.range(0)));
    przks_key* key = nullptr;
    require(przks_open_key(ctx, (resource_name(471) + ".ATTRIBUTE3").c_str(), &key));
    for (auto _ : state) {
        char buffer[256];
        unsigned length = sizeof buffer;
        require(przks_get_value(ctx, key, nullptr, buffer, &length));
        benchmark::DoNotOptimize(buffer[0]);
    }
    przks_close_key(ctx, key);
    przks_terminate(ctx);
}
BENCHMARK(read_open)->Arg(PRZKS_DEFAULT)->Arg(PRZKS_CACHE)->Unit(benchmark::kMicrosecond);

/// Calls `each` with the name of every sub-key.
template <class Each>
void enumerate(przks_ctx* ctx, const char* name, przks_key* parent, Each each) {
    przks_key* key = nullptr;
    require(przks_open_key(ctx, name, &key, parent));
    char entry[PRZKS_MAX_COMPONENT + 1];
    unsigned length = sizeof entry;
    for (unsigned index = 0; przks_enum_subkey(ctx, key, index, entry, &length) == PRZKS_OK;
         ++index, length = sizeof entry)
        each(key, entry);
    require(przks_close_key(ctx, key));
}

/// All resources, their attributes, and with Arg 1 also the values.
void enumerate_all(benchmark::State& state) {
    przks_ctx* const ctx = store().open(PRZKS_DEFAULT);
    long count = 0;
    for (auto _ : state) {
        count = 0;
        enumerate(ctx, "VORN.CUR", nullptr, [&](przks_key* area, const char* resource) {
            enumerate(ctx, resource, area, [&](przks_key* key, const char* attribute) {
                if (state.range(0) != 0) read_key(ctx, attribute, key);
                ++count;
            });
        });
    }
    state.counters["attributes"] = static_cast<double>(count);
    przks_terminate(ctx);
}
BENCHMARK(enumerate_all)->Arg(0)->Arg(1)->Unit(benchmark::kMillisecond);

/// The same values, the sub-keys of a resource in one call.
void read_all_subkeys(benchmark::State& state) {
    przks_ctx* const ctx = store().open(PRZKS_DEFAULT);
    long count = 0;
    const przks_visitor visit = [](void* arg, const char*, int status, przks_dtype, const void*,
                                   unsigned) {
        ++*static_cast<long*>(arg);
        return status;
    };
    for (auto _ : state) {
        count = 0;
        enumerate(ctx, "VORN.CUR", nullptr, [&](przks_key* area, const char* resource) {
            przks_key* key = nullptr;
            require(przks_open_key(ctx, resource, &key, area));
            require(przks_read_subkeys(ctx, key, visit, &count));
            require(przks_close_key(ctx, key));
        });
    }
    state.counters["attributes"] = static_cast<double>(count);
    przks_terminate(ctx);
}
BENCHMARK(read_all_subkeys)->Unit(benchmark::kMillisecond);

/// Setting one value: durable, and in bulk.
void set_one(benchmark::State& state) {
    przks_ctx* const ctx = store().open(PRZKS_DEFAULT, static_cast<unsigned>(state.range(0)));
    przks_key* key = nullptr;
    require(przks_open_key(ctx, (resource_name(1) + ".ATTRIBUTE1").c_str(), &key));
    for (auto _ : state) require(przks_set_value(ctx, key, przks_dtype_ZELTEXT, "changed", 8));
    przks_close_key(ctx, key);
    przks_terminate(ctx);
}
BENCHMARK(set_one)->Arg(0)->Arg(PRZKS_INIT_BULK)->Unit(benchmark::kMicrosecond)->UseRealTime();

void start_watching(benchmark::State& state) {
    przks_ctx* const ctx = store().open(PRZKS_DEFAULT);
    for (auto _ : state) {
        przks_watcher* watcher = nullptr;
        require(przks_watch(ctx, "VORN.CUR", 0, &watcher));
        przks_watch_close(watcher);
    }
    przks_terminate(ctx);
}
BENCHMARK(start_watching)->Unit(benchmark::kMillisecond);

/// One change and the report of it, above what set_one costs.
void notice_change(benchmark::State& state) {
    przks_ctx* const ctx = store().open(PRZKS_DEFAULT, PRZKS_INIT_BULK);
    przks_watcher* watcher = nullptr;
    przks_key* key = nullptr;
    require(przks_watch(ctx, "VORN.CUR", 0, &watcher));
    require(przks_open_key(ctx, (resource_name(1) + ".ATTRIBUTE1").c_str(), &key));
    for (auto _ : state) {
        require(przks_set_value(ctx, key, przks_dtype_ZELTEXT, "changed", 8));
        char name[PRZKS_MAX_COMPONENT + 1];
        unsigned length = sizeof name;
        przks_change change = PRZKS_CHANGE_NONE;
        require(przks_watch_next(watcher, -1, &change, name, &length));
        if (change != PRZKS_CHANGE_SUBKEY) std::abort();
    }
    przks_close_key(ctx, key);
    przks_watch_close(watcher);
    przks_terminate(ctx);
}
BENCHMARK(notice_change)->Unit(benchmark::kMicrosecond);

} // namespace

BENCHMARK_MAIN();
