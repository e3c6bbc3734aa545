#include "tests/registry_store/store_support.h"

#include <sys/mman.h>
#include <sys/prctl.h>

#include <random>

// Many processes on one store, some of them killed. Every value says what it must look like, and
// every resource is published as a whole: whatever a reader finds that is not so is a fault.

namespace {

constexpr int WRITERS = 8;
constexpr int READERS = 8;
constexpr int VALUES = 6;     ///< keys that everybody sets
constexpr int RESOURCES = 4;  ///< keys that everybody replaces with all that is below them
constexpr int ATTRIBUTES = 5; ///< of a resource, all of one generation

/// What the processes tell each other.
struct Shared {
    std::atomic<bool> stop{false};
    std::atomic<long> writes{0};
    std::atomic<long> reads{0};
    std::atomic<long> faults{0};
    std::array<char, 600> first_fault{};

    void fault(const std::string& what) {
        if (faults.fetch_add(1) == 0)
            std::snprintf(first_fault.data(), first_fault.size(), "%s", what.c_str());
    }
};

std::string name_of(const char* area, unsigned long number) {
    return area + std::to_string(number);
}

/// A text of random length that begins with its length and the checksum of the rest.
std::string make_value(std::mt19937& random) {
    std::string body(random() % (random() % 16 == 0 ? 60000 : 300),
                     static_cast<char>('a' + random() % 26));
    for (std::size_t at = 0; at < body.size(); at += 61) body[at] = static_cast<char>(random());
    return std::to_string(body.size()) + ':' + std::to_string(std::hash<std::string>()(body)) +
           ':' + body;
}

bool is_whole(const std::string& value) {
    const std::size_t first = value.find(':');
    const std::size_t second = value.find(':', first + 1);
    if (second == std::string::npos) return false;
    const std::string body = value.substr(second + 1);
    return value.substr(0, second) ==
           std::to_string(body.size()) + ':' + std::to_string(std::hash<std::string>()(body));
}

/// What both kinds of processes have.
class Worker {
public:
    Worker(Shared& shared, przks_ctx* ctx, unsigned seed)
        : m_shared(shared), m_ctx(ctx), m_random(seed) {}

protected:
    Shared& m_shared;
    przks_ctx* m_ctx;
    std::mt19937 m_random;
};

class Writer : Worker {
public:
    Writer(Shared& shared, przks_ctx* ctx, int slot, unsigned seed)
        : Worker(shared, ctx, seed), m_stage(name_of("stage.w", static_cast<unsigned long>(slot))) {
    }

    void run() {
        remove(m_ctx, m_stage); // what a killed predecessor staged
        while (!m_shared.stop) {
            const std::string resource = name_of("cur.r", m_random() % RESOURCES);
            switch (m_random() % 16) {
            case 0:
            case 1:
                expect(remove(m_ctx, m_random() % 2 == 0 ? resource : "tree"), "delete");
                break;
            case 2:
            case 3:
                publish(resource);
                break;
            case 4:
            case 5:
                expect(set(m_ctx, name_of("tree.a.b", m_random() % 4), value()), "grow");
                break;
            default:
                expect(set(m_ctx, name_of("flat.v", m_random() % VALUES), value()), "set");
            }
            ++m_shared.writes;
        }
    }

private:
    std::string value() { return make_value(m_random); }

    /// Somebody else may have been first with a deletion.
    void expect(int status, const char* what) {
        if (status == PRZKS_OK || status == PRZKS_NOTFOUND) return;
        m_shared.fault(what + (" " + std::to_string(status) + ": ") + last_error(m_ctx));
    }
    void publish(const std::string& resource) {
        const std::string generation = value();
        for (unsigned i = 0; i < ATTRIBUTES; ++i)
            expect(set(m_ctx, name_of((m_stage + ".A").c_str(), i), generation), "stage");
        expect(on_key(m_ctx, m_stage,
                      [&](przks_key* key) {
                          return przks_move_key(m_ctx, key, nullptr, resource.c_str(),
                                                PRZKS_MOVE_REPLACE);
                      }),
               "publish");
    }

    std::string m_stage;
};

class Reader : Worker {
public:
    using Worker::Worker;

    void run() {
        while (!m_shared.stop) {
            read_value(name_of("flat.v", m_random() % VALUES));
            read_value(name_of("tree.a.b", m_random() % 4));
            read_resource(name_of("cur.r", m_random() % RESOURCES));
            m_shared.reads += 3;
        }
    }

private:
    void read_value(const std::string& name) {
        const std::string value = get(m_ctx, name);
        if (value != "<4>" && !is_whole(value))
            m_shared.fault(name + " is torn: " + value.substr(0, 60) + last_error(m_ctx));
    }
    void read_resource(const std::string& name) {
        std::vector<std::string> values;
        const przks_visitor keep = [](void* arg, const char*, int status, przks_dtype,
                                      const void* value, unsigned length) {
            static_cast<std::vector<std::string>*>(arg)->push_back(
                status == PRZKS_OK ? std::string(static_cast<const char*>(value), length) : "");
            return 0;
        };
        const int status = on_key(m_ctx, name, [&](przks_key* key) {
            return przks_read_subkeys(m_ctx, key, keep, &values);
        });
        if (status == PRZKS_NOTFOUND || status == PRZKS_BUSY) return; // gone, or replaced meanwhile
        bool whole = status == PRZKS_OK && values.size() == ATTRIBUTES;
        for (const std::string& value : values)
            whole = whole && value == values.front() && is_whole(value);
        if (!whole)
            m_shared.fault(name + " is not whole: " + std::to_string(status) + ' ' +
                           std::to_string(values.size()) + last_error(m_ctx));
    }
};

template <class Work>
pid_t start(Work work) {
    const pid_t child = fork();
    if (child != 0) return child;
    prctl(PR_SET_PDEATHSIG, SIGKILL);
    work();
    _exit(0);
}

int soak_seconds() {
    const char* const wanted = std::getenv("VORN_SOAK_SECONDS");
    return wanted != nullptr ? std::atoi(wanted) : 4;
}

} // namespace

TEST_F(RegistryStore, ManyProcessesAndKilledWritersLeaveWholeValues) {
    using namespace std::chrono;
    constexpr int LONG_RUN = 20;
    const auto pause = soak_seconds() < LONG_RUN ? milliseconds(200) : milliseconds(1000);
    void* const memory =
        mmap(nullptr, sizeof(Shared), PROT_READ | PROT_WRITE, MAP_SHARED | MAP_ANONYMOUS, -1, 0);
    ASSERT_NE(memory, MAP_FAILED);
    Shared& shared = *new (memory) Shared;
    przks_ctx* const bulk = open(PRZKS_DEFAULT, PRZKS_INIT_BULK);
    przks_ctx* const cache = open(PRZKS_CACHE);
    for (const char* name : {"flat", "cur", "stage"}) set(m_ctx, name, "");

    unsigned seed = 1;
    const auto start_writer = [&](int slot) {
        ++seed;
        return start([&] { Writer(shared, slot % 2 == 0 ? m_ctx : bulk, slot, seed).run(); });
    };
    std::vector<pid_t> writers;
    std::vector<pid_t> readers;
    for (int slot = 0; slot < WRITERS; ++slot) writers.push_back(start_writer(slot));
    for (int slot = 0; slot < READERS; ++slot)
        readers.push_back(
            start([&] { Reader(shared, slot % 2 == 0 ? m_ctx : cache, ++seed).run(); }));
    int kills = 0;
    for (const auto end = steady_clock::now() + seconds(soak_seconds());
         steady_clock::now() < end && shared.faults == 0; ++kills) {
        std::this_thread::sleep_for(pause);
        pid_t& victim = writers[static_cast<std::size_t>(kills % WRITERS)];
        kill(victim, SIGKILL);
        waitpid(victim, nullptr, 0);
        victim = start_writer(kills % WRITERS);
    }
    shared.stop = true;
    for (const auto& processes : {writers, readers})
        for (const pid_t process : processes)
            EXPECT_EQ(status_of(process), 0) << "a process ended on its own";
    std::printf("writes %ld, reads %ld, kills %d, leftovers before cleaning %d\n",
                shared.writes.load(), shared.reads.load(), kills, leftovers());
    EXPECT_EQ(shared.faults, 0) << shared.first_fault.data();
    EXPECT_GT(shared.writes, 0);
    EXPECT_GT(shared.reads, 0);

    przks_ctx* const fresh = open(PRZKS_DEFAULT);
    ASSERT_NE(fresh, nullptr) << m_text;
    EXPECT_EQ(przks_clean(fresh), PRZKS_OK) << last_error(fresh);
    EXPECT_EQ(leftovers(), 0);
    for (unsigned i = 0; i < VALUES; ++i) {
        const std::string value = get(fresh, name_of("flat.v", i));
        EXPECT_TRUE(value == "<4>" || is_whole(value)) << value.substr(0, 60);
        EXPECT_EQ(set(fresh, name_of("flat.v", i), "after"), PRZKS_OK) << last_error(fresh);
    }
    for (przks_ctx* const ctx : {bulk, cache, fresh}) przks_terminate(ctx);
    munmap(memory, sizeof(Shared));
}
