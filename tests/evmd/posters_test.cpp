#include "tests/evmd/evmd_support.h"

#include <sys/mman.h>

namespace {

constexpr unsigned POSTERS = 32;
constexpr unsigned EVENTS = 1'000;
constexpr unsigned KILLS = 5;
constexpr unsigned RETRY_US = 5'000;

/// The real program, killed without warning and started again.
class Evmd {
public:
    explicit Evmd(std::string path) : m_path(std::move(path)) { start(); }
    ~Evmd() { end(SIGKILL); }
    Evmd(const Evmd&) = delete;
    Evmd& operator=(const Evmd&) = delete;

    void start() {
        int ends[2];
        ASSERT_EQ(pipe2(ends, O_CLOEXEC), 0);
        const std::string program = std::string(getenv("VORN_TEST_BIN")) + "/evmd";
        m_process = fork();
        if (m_process == 0) {
            dup2(ends[1], STDOUT_FILENO);
            execl(program.c_str(), "evmd", "--file", m_path.c_str(), "--file-size", "2000000",
                  nullptr);
            _exit(127);
        }
        close(ends[1]);
        char line[64];
        EXPECT_GT(read(ends[0], line, sizeof line), 0) << "it does not start";
        close(ends[0]);
    }
    int end(int number) {
        if (m_process <= 0 || kill(m_process, number) != 0) return -1;
        return status_of(std::exchange(m_process, -1));
    }

private:
    const std::string m_path;
    pid_t m_process = -1;
};

/// What the posters tell, in memory that they share with the test.
struct Told {
    std::array<std::atomic<std::uint8_t>, POSTERS * EVENTS> attempts;
    std::atomic<unsigned> acknowledged;
};

/// Posts an event until it is acknowledged, over a connection that is made anew when it is lost.
bool deliver(EvmConnection_t& connection, EvmEvent_t event, std::atomic<std::uint8_t>& attempts) {
    for (int tries = 0; tries < 4'000; ++tries) {
        if (connection == nullptr &&
            EvmConnCreate(EvmCONNECTION_POST, EvmRESPONSE_WAIT, nullptr, nullptr, nullptr,
                          &connection) != EvmERROR_NONE) {
            usleep(RETRY_US);
            continue;
        }
        ++attempts;
        if (EvmEventPost(connection, event) == EvmERROR_NONE) return true;
        EvmConnDestroy(std::exchange(connection, nullptr));
    }
    return false;
}

int postAll(unsigned poster, Told& told) {
    EvmConnection_t connection = nullptr;
    for (unsigned id = poster * EVENTS; id < (poster + 1) * EVENTS; ++id) {
        const evmd::EventPointer event = makeEvent(id, id % 200);
        if (!deliver(connection, event.get(), told.attempts[id])) return 1;
        ++told.acknowledged;
    }
    return EvmConnDestroy(connection) == EvmERROR_NONE ? 0 : 2;
}

TEST(Posters, LoseNoAcknowledgedEventWhenTheDaemonIsKilled) {
    void* const memory =
        mmap(nullptr, sizeof(Told), PROT_READ | PROT_WRITE, MAP_SHARED | MAP_ANONYMOUS, -1, 0);
    ASSERT_NE(memory, MAP_FAILED);
    Told& told = *static_cast<Told*>(memory);
    const std::string folder = freshFolder();
    Evmd evmd(folder + "/events");
    std::vector<pid_t> posters;
    for (unsigned poster = 0; poster < POSTERS; ++poster) {
        posters.push_back(fork());
        if (posters.back() == 0) _exit(postAll(poster, told));
    }
    for (unsigned kills = 1; kills <= KILLS; ++kills) {
        const unsigned enough = POSTERS * EVENTS / (KILLS + 1) * kills;
        for (int i = 0; i < 60'000 && told.acknowledged < enough; ++i) usleep(1'000);
        evmd.end(SIGKILL);
        evmd.start();
    }
    for (const pid_t poster : posters) EXPECT_EQ(status_of(poster), 0);
    EXPECT_EQ(evmd.end(SIGTERM), 0);

    std::map<std::uint32_t, unsigned> stored;
    for (const auto& file : std::filesystem::directory_iterator(folder))
        if (file.path().extension() != ".lock")
            for (const std::uint32_t id : idsIn(file.path())) ++stored[id];
    EXPECT_EQ(told.acknowledged, POSTERS * EVENTS);
    EXPECT_EQ(stored.size(), POSTERS * EVENTS) << "acknowledged, but not there";
    unsigned twice = 0;
    for (const auto& [id, count] : stored) {
        // More than once only when an attempt was stored whose acknowledgement died with the
        // daemon.
        ASSERT_LE(count, told.attempts[id]) << id;
        twice += count > 1 ? 1 : 0;
    }
    EXPECT_LE(twice, KILLS * POSTERS) << "each poster has one event under way";
    munmap(memory, sizeof(Told));
}

} // namespace
