#include "platform/include/clss.h"
#include "tav/cluster/Cluster.h"
#include "tav/cluster/ClusterQuorum.h"
#include "tests/cluster/cluster_support.h"

using TAV::Cluster;

namespace {

/// A daemon that is a member until it is told to go; says "up", or why it is not.
void be_member(const Process::Link& link) {
    clss_member* member = nullptr;
    std::string why = "up";
    const int status = clss_member_hold(service(), &member, &why);
    link.tell(why);
    if (status == CLSS_OK && link.hear() == "leave") clss_member_release(member);
}

/// "alpha beta" for those that are up, as a node sees them.
std::string up(const TestCluster& cluster, int node = 4) {
    Process viewer(cluster, node, [](const Process::Link& link) {
        std::map<std::string, int> members;
        EXPECT_EQ(Cluster::getMembers(members), 32);
        EXPECT_EQ(members.size(), 3u);
        std::string names = Cluster::amMaster() ? "master:" : ":";
        for (const auto& [name, state] : members) {
            EXPECT_EQ(Cluster::getState(name), state) << name;
            if (state == 1) names += ' ' + name;
        }
        link.tell(names);
    });
    std::string names = viewer.link().hear();
    EXPECT_EQ(viewer.wait(), 0);
    return names;
}

/// In a child: the text of the exception, up to the place of the raise.
template <class Body>
std::string fault(Body body) {
    try {
        body();
    } catch (const TAV::ClusterException& error) {
        EXPECT_EQ(error.className(), "ClusterException");
        EXPECT_NE(error.what().find("\n(File: Cluster"), std::string::npos);
        return error.what().substr(0, error.what().find('\n'));
    }
    return "none";
}

} // namespace

TEST(Members, AreUpAsLongAsTheirProcessLives) {
    const TestCluster cluster;
    EXPECT_EQ(up(cluster), ":");
    auto alpha = std::make_unique<Process>(cluster, 1, be_member);
    Process beta(cluster, 2, be_member);
    EXPECT_EQ(alpha->link().hear() + beta.link().hear(), "upup");
    EXPECT_EQ(up(cluster), ": alpha beta");
    EXPECT_EQ(up(cluster, 2), ": alpha beta");
    EXPECT_EQ(up(cluster, 1), "master: alpha beta");
    alpha->kill();
    EXPECT_EQ(up(cluster, 2), "master: beta");
    alpha = std::make_unique<Process>(cluster, 1, be_member);
    EXPECT_EQ(alpha->link().hear(), "up");
    EXPECT_EQ(up(cluster, 2), ": alpha beta");
    beta.link().tell("leave");
    EXPECT_EQ(beta.wait(), 0);
    EXPECT_EQ(up(cluster), ": alpha");
}

TEST(Members, ANumberBelongsToOneProcess) {
    const TestCluster cluster;
    Process first(cluster, 1, be_member);
    EXPECT_EQ(first.link().hear(), "up");
    Process second(cluster, 1, be_member);
    const std::string why = second.link().hear();
    EXPECT_TRUE(why.starts_with("node number 1 is taken: node alpha, process ")) << why;
    first.kill();
    // Anybody may read the file, and so lock it against writers.
    Process stranger(cluster, 2, [&](const Process::Link& link) {
        const int fd = open(cluster.path("run/member.1").c_str(), O_RDONLY | O_CLOEXEC);
        struct flock whole {};
        whole.l_type = F_RDLCK;
        EXPECT_EQ(fcntl(fd, F_OFD_SETLK, &whole), 0);
        link.tell("locked");
        static_cast<void>(link.hear());
    });
    EXPECT_EQ(stranger.link().hear(), "locked");
    EXPECT_EQ(up(cluster), ":");
    Process third(cluster, 1, be_member);
    EXPECT_EQ(third.link().hear(), "up");
    EXPECT_EQ(up(cluster), ": alpha");
}

TEST(Members, AWatchTellsOfEveryChange) {
    const TestCluster cluster("recovery_time = 86400\n"); // no look without an event
    Process watcher(cluster, 4, [](const Process::Link& link) {
        clss_watch* watch = nullptr;
        ASSERT_EQ(clss_watch_open(service(), &watch), CLSS_OK);
        clssgsmap members;
        for (int i = 0; i < 4; ++i) {
            ASSERT_EQ(clss_watch_wait(watch, &members, -1), CLSS_OK);
            link.tell(members.grpbits_clssgsmap.test(1) ? "alpha" : "nobody");
        }
        EXPECT_EQ(clss_watch_wait(watch, &members, 0), CLSS_BUSY);
        clss_watch_close(watch);
    });
    EXPECT_EQ(watcher.link().hear(), "nobody");
    auto alpha = std::make_unique<Process>(cluster, 1, be_member);
    EXPECT_EQ(watcher.link().hear(), "alpha");
    alpha->kill();
    EXPECT_EQ(watcher.link().hear(), "nobody");
    alpha = std::make_unique<Process>(cluster, 1, be_member);
    EXPECT_EQ(watcher.link().hear(), "alpha");
    EXPECT_EQ(watcher.wait(), 0);
}

TEST(Cluster, NamesNumbersAndFailures) {
    const TestCluster cluster;
    cluster.run(4, [] {
        EXPECT_EQ(Cluster::ToShortAndLower("NodeA.first.second"), "nodea");
        EXPECT_EQ(Cluster::ToShortAndLower(""), "");
        EXPECT_EQ(Cluster::getLocalhost(), "gamma");
        EXPECT_EQ(Cluster::getId("Beta.example.org"), 2);
        EXPECT_EQ(Cluster::getMemberId("gamma"), "4");
        EXPECT_EQ(Cluster::getInterconnect("ALPHA.b"), "alpha");
        EXPECT_EQ(Cluster::getMemberLockName(""), "_ZEL_VORN_MEMBER_gamma");
        EXPECT_EQ(Cluster::getMemberLockName("Delta"), "_ZEL_VORN_MEMBER_Delta");
        for (const auto query : {Cluster::getId, Cluster::getState})
            EXPECT_EQ(fault([&] { query("Delta.x"); }), "cluinfo(memberid) failed for Delta.x");
    });
    const TestCluster broken("no such key\n");
    broken.run(1, [] {
        std::map<std::string, int> members;
        EXPECT_EQ(fault([] { Cluster::getLocalhost(); }), "clsz getnodename failed");
        EXPECT_EQ(fault([] { Cluster::getId("alpha"); }), "cluinfo(memberid) failed for alpha");
        EXPECT_EQ(fault([&] { Cluster::getMembers(members); }), "clu_get_info failed");
        EXPECT_EQ(fault([] { Cluster::amMaster(); }), "clu_info(CLU_INFO_MY_ID) failed");
        EXPECT_EQ(Cluster::getInterconnect("Some.Name"), "Some.Name");
    });
}

TEST(Quorum, SleepsUntilItWasHeldLongEnough) {
    static long now;
    static std::vector<long> slept;
    static long lost_at, gained_at;
    const auto sleep = [](long seconds) {
        slept.push_back(seconds);
        now += seconds;
        if (lost_at != 0 && now >= lost_at) Cluster::lostQuorum(std::exchange(lost_at, 0));
        if (gained_at != 0 && now >= gained_at) Cluster::gainedQuorum(std::exchange(gained_at, 0));
    };
    struct Case {
        long before, lost, gained; ///< when quorum was gained first, lost and gained again
        std::vector<long> sleeps;
    };
    for (const Case& c :
         {Case{0, 0, 0, {10}}, Case{996, 0, 0, {10}}, Case{1004, 0, 0, {10, 6}},
          Case{1010, 0, 0, {10, 1, 1, 2, 4, 8}}, Case{0, 1005, 1013, {10, 10, 7}}}) {
        const TestCluster cluster;
        cluster.run(1, [&] {
            setenv("ZEL_VORNDEBUG_ALL", "1", 1);
            now = 1000;
            lost_at = c.lost;
            gained_at = c.gained;
            TAV::setQuorumClock({[] { return now; }, sleep});
            Cluster::gainedQuorum(c.before);
            Cluster::sleepWithQuorum(10);
            EXPECT_EQ(slept, c.sleeps) << c.before;
        });
        EXPECT_EQ(cluster.log().at(0), "VORNQUORD:  gained quorum: " + std::to_string(c.before));
        EXPECT_EQ(cluster.log().at(1), "VORNQUORD:  sleep at 1000 for 10");
    }
}
