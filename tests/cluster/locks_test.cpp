#include "platform/include/clss.h"
#include "tav/cluster/tavcls.h"
#include "tests/cluster/cluster_support.h"

#include <sys/mman.h>

#include <regex>

namespace {

int lock(const std::string& name) {
    clssls_handle handle;
    return clsslsmutexlock(&handle, service(), bytes(name));
}
int try_lock(const std::string& name) {
    clssls_handle handle;
    return clsslstrylock(&handle, service(), bytes(name), CLSSLS_TRY);
}
int unlock(const std::string& name) {
    return clsslsunlock(service(), bytes(name));
}

/// Takes a lock, says so, and holds it until it is told something.
void hold(const Process::Link& link, const std::string& name) {
    link.tell(std::to_string(lock(name)));
    static_cast<void>(link.hear());
    EXPECT_EQ(unlock(name), CLSS_OK);
}

/// Until somebody sleeps in the kernel for a lock.
void await_waiter(const TestCluster& cluster) {
    struct stat status {};
    ASSERT_EQ(stat(cluster.path("run/locks").c_str(), &status), 0);
    const std::string place = ":" + std::to_string(status.st_ino) + " ";
    for (int i = 0; i < 12000; ++i) {
        std::ifstream table("/proc/locks");
        for (std::string line; std::getline(table, line);)
            if (line.find("-> ") != std::string::npos && line.find(place) != std::string::npos)
                return;
        std::this_thread::sleep_for(std::chrono::milliseconds(10));
    }
    FAIL() << "nobody waits";
}

unsigned char* name_of(std::string& text) {
    return reinterpret_cast<unsigned char*>(text.data());
}

} // namespace

TEST(Locks, CountWhileHoldersAreKilled) {
    constexpr std::size_t PROCESSES = 16, VICTIMS = 8;
    constexpr long ROUNDS = 1000;
    const TestCluster cluster;
    void* const shared = mmap(nullptr, sizeof(std::array<long, PROCESSES>), PROT_READ | PROT_WRITE,
                              MAP_SHARED | MAP_ANONYMOUS, -1, 0);
    auto& tallies = *static_cast<std::array<long, PROCESSES>*>(shared);
    const std::string counter = cluster.path("counter");
    std::ofstream(counter) << "";
    std::vector<std::unique_ptr<Process>> processes;
    for (std::size_t i = 0; i < PROCESSES; ++i)
        processes.push_back(std::make_unique<Process>(cluster, 1, [&, i](const Process::Link&) {
            const int fd = open(counter.c_str(), O_RDWR | O_CLOEXEC);
            for (long round = 0; round < ROUNDS || i < VICTIMS; ++round) {
                ASSERT_EQ(lock("counter"), CLSS_OK);
                long value = 0;
                ASSERT_GE(pread(fd, &value, sizeof value, 0), 0);
                ++value;
                ASSERT_EQ(pwrite(fd, &value, sizeof value, 0), ssize_t{sizeof value});
                ++tallies[i];
                ASSERT_EQ(unlock("counter"), CLSS_OK);
            }
        }));
    long counted = 0;
    for (std::size_t i = 0; i < VICTIMS; ++i) {
        std::this_thread::sleep_for(std::chrono::milliseconds(100));
        processes[i]->kill();
    }
    for (std::size_t i = VICTIMS; i < PROCESSES; ++i) {
        EXPECT_EQ(processes[i]->wait(), 0);
        EXPECT_EQ(tallies[i], ROUNDS);
    }
    for (const long tally : tallies) counted += tally;
    long value = 0;
    std::ifstream(counter).read(reinterpret_cast<char*>(&value), sizeof value);
    EXPECT_GE(value, counted); // no update was lost; a victim may have died before its own tally
    EXPECT_LE(value, counted + long{VICTIMS});
    munmap(shared, sizeof tallies);
}

TEST(Locks, NamesThreadsAndOwners) {
    const TestCluster cluster;
    cluster.run(1, [] {
        const std::string longest(CLSSLS_NAME_MAX, 'n');
        const std::string other = longest.substr(1) + 'm';
        for (const std::string& name : {longest, other, std::string("../\xff\n/x")})
            EXPECT_EQ(try_lock(name), CLSS_OK);
        EXPECT_EQ(try_lock(longest), CLSS_BUSY); // also for the process that has it
        EXPECT_EQ(try_lock(longest + 'n'), CLSS_INVALID);
        EXPECT_EQ(lock(""), CLSS_INVALID);
        EXPECT_EQ(unlock(longest), CLSS_OK);
        EXPECT_EQ(unlock(longest), CLSS_NOT_HELD);
        EXPECT_EQ(try_lock(longest), CLSS_OK);
        long count = 0; // unprotected
        on_threads(4, [&count](std::size_t) {
            for (int round = 0; round < 1000; ++round) {
                ASSERT_EQ(lock("count"), CLSS_OK);
                count = count + 1;
                ASSERT_EQ(unlock("count"), CLSS_OK);
            }
        });
        EXPECT_EQ(count, 4000);
    });
}

TEST(Locks, ComeBackFromTheDeadButNotFromTheirForks) {
    const TestCluster cluster;
    Process holder(cluster, 1, [](const Process::Link& link) {
        EXPECT_EQ(lock("a"), CLSS_OK);
        if (fork() == 0) {
            link.tell(std::to_string(try_lock("a")));
            static_cast<void>(link.hear());
            _exit(0);
        }
        static_cast<void>(link.hear());
    });
    EXPECT_EQ(holder.link().hear(), std::to_string(CLSS_BUSY));
    Process waiter(cluster, 2, [](const Process::Link& link) { hold(link, "a"); });
    await_waiter(cluster);
    holder.kill(); // its child lives on
    EXPECT_EQ(waiter.link().hear(), "0");
    waiter.link().tell("go");
    EXPECT_EQ(waiter.wait(), 0);
}

TEST(Locks, TheEndOfTheServiceReachesEveryWaiter) {
    for (const bool removed : {false, true}) {
        const TestCluster cluster;
        Process holder(cluster, 1, [](const Process::Link& link) { hold(link, "a"); });
        EXPECT_EQ(holder.link().hear(), "0");
        Process orderly(cluster, 2, [](const Process::Link& link) {
            std::string name = "a";
            EXPECT_EQ(TAV::tavclsinitctx(), 0);
            link.tell("waits");
            TAV::tavclslock(0, name_of(name));
        });
        EXPECT_EQ(orderly.link().hear(), "waits");
        await_waiter(cluster);
        Process threads(cluster, 4, [](const Process::Link& link) {
            EXPECT_EQ(lock("b"), CLSS_OK);
            std::thread behind_kernel([] { EXPECT_EQ(lock("a"), CLSS_GONE); });
            std::thread behind_thread([] { EXPECT_EQ(lock("b"), CLSS_GONE); });
            link.tell("wait");
            behind_kernel.join();
            behind_thread.join();
            EXPECT_EQ(try_lock("c"), CLSS_GONE);
            EXPECT_EQ(unlock("b"), CLSS_OK);
            link.tell("gone");
        });
        EXPECT_EQ(threads.link().hear(), "wait");
        if (removed)
            std::filesystem::remove_all(cluster.path("run/"));
        else
            std::ofstream(cluster.path("run/DOWN")) << "";
        EXPECT_EQ(threads.link().hear(), "gone");
        EXPECT_EQ(threads.wait(), 0);
        EXPECT_EQ(orderly.wait(), 0);
        const auto log = cluster.log();
        EXPECT_EQ(std::count(log.begin(), log.end(), "CLSCPPGEN:  VORND Exiting."), 1);
        if (removed) continue;
        cluster.run(1, [] { EXPECT_EQ(TAV::tavclsinitctx(), CLSS_GONE); });
        EXPECT_EQ(cluster.log().back(), "VORNRTI:  QUORD is not ready. Received status 22");
    }
}

TEST(Tavcls, LinesOfEveryOperation) {
    const TestCluster cluster;
    Process other(cluster, 2, [](const Process::Link& link) { hold(link, "taken"); });
    EXPECT_EQ(other.link().hear(), "0");
    cluster.run(
        1,
        [] {
            setenv("ZEL_VORNDEBUG_ALL", "1", 1);
            std::string free = "free", taken = "taken", bad;
            EXPECT_EQ(TAV::tavclsgetctx(), nullptr);
            EXPECT_EQ(TAV::tavclsinitctx(), 0);
            EXPECT_EQ(TAV::tavclslock(7, name_of(free)), 0u);
            EXPECT_EQ(TAV::tavclsislock(7, name_of(free)), 1u);
            EXPECT_EQ(TAV::tavclsunlock(name_of(free)), 0u);
            EXPECT_EQ(TAV::tavclsunlock(name_of(free)), unsigned{CLSS_NOT_HELD});
            EXPECT_EQ(TAV::tavclsislock(7, name_of(free)), 0u);
            EXPECT_EQ(TAV::tavclstrylock(7, name_of(free)), 0u);
            EXPECT_EQ(TAV::tavclstrylock(7, name_of(taken)), 1u);
            EXPECT_EQ(TAV::tavclstrylock(7, name_of(bad)), 1u);
            EXPECT_EQ(TAV::tavclsislock(7, name_of(bad)), 2u);
            TAV::tavclslock(7, name_of(bad));
        },
        1);
    std::string lines;
    for (const std::string& line : cluster.log())
        if (line.starts_with("VORNRTI:")) lines += line.substr(10) + '\n';
    EXPECT_EQ(lines, "Got lock for free\n"
                     "Try lock for free\nTry lock failed (busy) free\n"
                     "Release lock for free\n"
                     "Release lock for free\ntavclsunlock error code 6 for res free\n"
                     "Try lock for free\nRelease lock for free\n"
                     "Try lock for free\n...lock granted for free\n"
                     "Try lock for taken\n...lock denied for taken\n"
                     "Try lock for \n...trylock failed with rc=2\n"
                     "Try lock for \nclsslstrylock error code 2 for res \n"
                     "tavclslock error code 2\n");
}

TEST(Tavcls, TraceLinesCarryTheTimeAndAreCut) {
    const TestCluster cluster;
    cluster.run(1, [] {
        skgcbctx on{1}, off{0};
        TAV::tavclstrc(&off, "%s", "unseen");
        TAV::tavclstrc(&on, "%s %d", "seen", 7);
        TAV::tavclstrc(&on, "%s", std::string(600, 'x').c_str());
    });
    const auto log = cluster.log();
    ASSERT_EQ(log.size(), 2u);
    const std::regex form(R"(VORNRTI:  \d{4}-\d\d-\d\d \d\d:\d\d:\d\d\.\d{3}: seen 7)");
    EXPECT_TRUE(std::regex_match(log[0], form)) << log[0];
    EXPECT_EQ(log[1].size(), std::string("VORNRTI:  ").size() + 511);
}
