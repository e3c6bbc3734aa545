#include "daemons/vornd/ClusterView.h"
#include "daemons/vornd/Peers.h"
#include "daemons/vornd/Server.h"
#include "tav/comm/MessageStream.h"
#include "tests/daemons/daemons_support.h"

#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <thread>

using namespace vornd;
using namespace std::chrono_literals;

namespace {

constexpr const char* ADDRESS = "(ADDRESS=(PROTOCOL=tcp)(HOST=127.0.0.1)(PORT=0))";
constexpr const char* KEY = "SYSTEM.vorn.e2eport.beta";

TAV::Container replyWith(const std::string& state) {
    TAV::Container states("STATE");
    states.SetProperty("beta", state);
    TAV::Container resource("db");
    resource.SetMessage("STATE", states);
    TAV::Container reply("STATUS_REPLY");
    reply.SetMessage("db", resource);
    return reply;
}

TEST(PeerReply, IsTakenAsFarAsItMakesSense) {
    EXPECT_EQ(statesIn(replyWith("ONLINE"), "beta")->at("db"), "ONLINE");
    EXPECT_EQ(statesIn(replyWith("A\nB"), "beta")->at("db"), "A?B");
    EXPECT_TRUE(statesIn(replyWith("ONLINE"), "gamma")->empty());
    TAV::Container odd("STATUS_REPLY");
    odd.SetProperty("text", "instead of a resource");
    odd.SetMessage("none", TAV::Container("none"));
    TAV::Container flat("flat");
    flat.SetProperty("STATE", "ONLINE");
    odd.SetMessage("flat", flat);
    odd.SetMessage("ERROR", replyWith("ONLINE"));
    EXPECT_TRUE(statesIn(odd, "beta")->empty());
    EXPECT_EQ(statesIn(TAV::Container("OTHER"), "beta"), nullptr);
    for (const auto& [result, isAnswer] :
         {std::pair("230", false), {"300", false}, {"301", true}}) {
        odd.SetProperty("RESULT", result);
        EXPECT_EQ(statesIn(odd, "beta") != nullptr, isAnswer) << result;
    }
}

/// A peer of this process that does what a test wants.
class PeersTest : public testing::Test {
protected:
    void TearDown() override {
        released = true;
        peers.stop();
    }
    void listen(Limits limits = peerLimits(), PrepareFunction prepare = nullptr) {
        limits.stopGrace = 0ms;
        const auto answer = [this](const TAV::Message&, const std::string&) {
            ++asked;
            while (hangs && !released) std::this_thread::sleep_for(5ms);
            return std::make_shared<const std::vector<unsigned char>>(
                TAV::MessageStream().encode(replyWith("ONLINE")));
        };
        peer = std::make_unique<Server>(ADDRESS, limits, answer, prepare);
        ASSERT_TRUE(peer->start());
        registry.set(KEY, peer->address());
        peers.forget("beta");
    }
    /// The state of "db", "-" without an answer.
    std::string ask(const Peers::Names& names = std::nullopt) {
        const auto told = peers.ask("beta", names, [this](const std::string& text, auto) {
            EXPECT_EQ(text, "Asking node beta for its resources");
            ++orders;
        });
        return told == nullptr ? "-" : told->at("db");
    }

    TestRegistry registry{"zks", {"SYSTEM"}};
    std::atomic<bool> hangs{false}, released{false};
    std::atomic<int> asked{0}, orders{0};
    Peers peers{1s};
    std::unique_ptr<Server> peer;
};

TEST_F(PeersTest, AnswersAtOnceOrAfterAnOrder) {
    listen();
    EXPECT_EQ(ask(), "ONLINE");
    EXPECT_EQ(orders, 0);
    hangs = true;
    std::thread release([this] {
        eventually([this] { return orders == 1; });
        released = true;
    });
    EXPECT_EQ(ask(), "ONLINE");
    release.join();
    peer.reset(); // and comes back at another address
    listen();
    EXPECT_EQ(ask(), "ONLINE");
    registry.remove(KEY);
    peers.forget("beta");
    EXPECT_EQ(ask(), "-");
}

TEST_F(PeersTest, WaitsNoLongerThanItsLimit) {
    // Orders without end keep nobody.
    listen(peerLimits(), [this](const TAV::Message&, const OrderFunction& order) {
        while (!released) order("wait", 4'000'000s);
        return AnswerFunction();
    });
    EXPECT_EQ(ask(), "-");
    EXPECT_EQ(orders, 1);
}

TEST_F(PeersTest, SharesExchangesAndBoundsThem) {
    constexpr int ASKERS = 40;
    constexpr int DIFFERENT = 8;
    Limits limits = peerLimits();
    limits.builders = ASKERS; // all that come count as asked
    hangs = true;
    listen(limits);
    Peers patient{10s};
    std::atomic<int> waiting{0}, told{0};
    std::vector<std::thread> askers;
    for (int i = 0; i < ASKERS; ++i)
        askers.emplace_back([&, name = std::to_string(i % DIFFERENT)] {
            const auto states = patient.ask("beta", std::vector{name},
                                            [&](const std::string&, auto) { ++waiting; });
            if (states != nullptr) ++told;
        });
    EXPECT_TRUE(eventually([&] { return waiting == ASKERS && asked > 3; }));
    EXPECT_EQ(asked, static_cast<int>(Peers::PER_NODE));
    released = true;
    for (std::thread& asker : askers) asker.join();
    EXPECT_EQ(told, ASKERS);
}

TEST_F(PeersTest, ANodeThatGoesDownEndsTheWaiting) {
    Peers patient{10s};
    hangs = true;
    listen();
    for (const bool stops : {false, true}) {
        std::atomic<bool> ended{false};
        const int before = asked;
        std::thread asker([&] {
            EXPECT_EQ(patient.ask("beta", std::nullopt, [](const std::string&, auto) {}), nullptr);
            ended = true;
        });
        EXPECT_TRUE(eventually([&] { return asked > before; }));
        EXPECT_FALSE(ended);
        if (stops)
            patient.stop();
        else
            patient.lost("beta");
        asker.join();
    }
    EXPECT_EQ(patient.ask("beta", std::nullopt, [](const std::string&, auto) {}), nullptr);
}

TEST(View, SharesWhatDoesNotChange) {
    const auto model = std::make_shared<const ResourceModel>(
        modelOf({"NAME=a\nTYPE=t\nSTATE@alpha=ONLINE\nSTATE@beta=ONLINE\nSTATE@other=ONLINE\nSTATE="
                 "ONLINE\n",
                 "NAME=b\nTYPE=t\nSTATE@alpha=ONLINE\nSTATE@beta=UNKNOWN\n"}));
    ClusterView view({"alpha", "beta"});
    view.take(model);
    EXPECT_EQ(view.model(), model);
    view.take(Members{"alpha"});
    EXPECT_FALSE(view.isUp("beta"));
    const ModelPointer shown = view.model();
    const NodeValues expected{
        {"", "ONLINE"}, {"alpha", "ONLINE"}, {"beta", "UNKNOWN"}, {"other", "ONLINE"}};
    EXPECT_EQ(shown->find("a")->states, expected);
    EXPECT_EQ(shown->find("b"), model->find("b"));
    view.take(Members{"alpha", "beta"});
    EXPECT_EQ(view.model(), model);
}

} // namespace
