#include "platform/include/registry.h"
#include "tav/comm/Connection.h"
#include "tav/comm/OpenConns.h"
#include "tav/comm/PeerAddresses.h"
#include "tav/registry/clsgenv.h"
#include "tav/registry/tavzks.h"
#include "tests/comm/comm_support.h"

#include <arpa/inet.h>
#include <gtest/gtest.h>
#include <poll.h>
#include <sys/resource.h>
#include <unistd.h>

#include <atomic>
#include <filesystem>

using TAV::Container;
using TAV::MessageStream;
using TAV::OpenConns;
using TAV::Socket;

namespace {

std::string tcpAddress(int port) {
    return "(ADDRESS=(PROTOCOL=tcp)(HOST=127.0.0.1)(PORT=" + std::to_string(port) + "))";
}

void publish(const std::string& node, const std::string& address) {
    przks_ctx* ctx = nullptr;
    ASSERT_EQ(przks_init_ext(&ctx, PRZKS_DEFAULT, nullptr, nullptr, 0), PRZKS_OK);
    TAV::tavzksWrite(("SYSTEM.vorn.e2eport." + node).c_str(), address.c_str(),
                     static_cast<unsigned>(address.size() + 1), ctx);
    przks_terminate(ctx);
}

void echo(Socket& socket) {
    MessageStream stream(&socket);
    stream.writeMessage(*std::unique_ptr<TAV::Message>(stream.readMessage()));
}

/// The daemon of another node, which stands in the registry.
struct NodeDaemon : ScriptedServer {
    explicit NodeDaemon(const std::string& node, Script script = echo,
                        const std::string& at = tcpAddress(0))
        : ScriptedServer(std::move(script), at) {
        publish(node, address);
    }
};

/// The result code, and after it the compact reply if there is one.
std::string ask(const std::string& node, TAV::OrderHandler* handler = nullptr,
                const std::string& text = "text") {
    Container request("ASK");
    request.SetProperty("key", text);
    Container* reply = nullptr;
    const int code = TAV::Connection().invokepeer(request, &reply, node, handler);
    std::string shown;
    if (reply != nullptr) std::unique_ptr<Container>(reply)->serialize(shown);
    return std::to_string(code) + shown;
}
const char* const ANSWERED = "0c1|3!ASKk3|keyt4|text";
const char* const LOOKING_UP = " Looking up E2E port from ZKS: SYSTEM.vorn.e2eport.beta\n";

std::size_t openDescriptors() {
    const std::filesystem::directory_iterator all("/proc/self/fd");
    return static_cast<std::size_t>(std::distance(begin(all), end(all)));
}

std::size_t connectionsTo(const std::string& node) {
    const StaticLock lock(OpenConns::s_mapmutex);
    return OpenConns::myconns().count(node);
}

/// A listener that does what the layer would never do.
struct RawListener {
    explicit RawListener(int backlog) {
        at.sin_family = AF_INET;
        at.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
        socklen_t length = sizeof at;
        EXPECT_EQ(bind(fd, name(), length) + listen(fd, backlog), 0);
        EXPECT_EQ(getsockname(fd, name(), &length), 0);
        publish("beta", tcpAddress(ntohs(at.sin_port)));
    }
    ~RawListener() { close(fd); }
    sockaddr* name() { return static_cast<sockaddr*>(static_cast<void*>(&at)); }
    /// Answers one connection with bytes, after it has sent something.
    void answer(const std::string& bytes, bool staysOpen) const {
        const int client = accept4(fd, nullptr, nullptr, SOCK_CLOEXEC);
        char request[4096];
        if (!bytes.empty()) recv(client, request, sizeof request, 0);
        send(client, bytes.data(), bytes.size(), MSG_NOSIGNAL);
        while (staysOpen && recv(client, request, sizeof request, 0) > 0) {
        }
        close(client);
    }

    const int fd = socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
    sockaddr_in at{};
};

class PeerTest : public testing::Test {
protected:
    static void SetUpTestSuite() {
        ASSERT_EQ(przks_create_store(nullptr, nullptr, nullptr, nullptr), PRZKS_OK);
        const NodeDaemon daemon("beta"); // opens what stays open for the life of the process
        ASSERT_EQ(ask("beta"), ANSWERED);
    }
    static void TearDownTestSuite() { clsgenvterm(); }
    void SetUp() override {
        TAV::hostportmap().clear();
        m_descriptors = openDescriptors();
    }
    void TearDown() override {
        EXPECT_TRUE(OpenConns::myconns().empty());
        EXPECT_EQ(openDescriptors(), m_descriptors);
    }

private:
    std::size_t m_descriptors = 0;
};

} // namespace

TEST_F(PeerTest, AnswersAndKeepsTheAddress) {
    Container order("ORDER");
    order.SetProperty("WAIT=20");
    const auto orderAndEcho = [&order](Socket& socket) {
        MessageStream(&socket).writeMessage(order);
        echo(socket);
    };
    for (const std::string& at : {tcpAddress(0), addressOf("E2E.beta")}) {
        const NodeDaemon daemon("beta", orderAndEcho, at);
        TAV::forgetPeerAddress("beta");
        const LogSince log;
        Recorder recorder;
        EXPECT_EQ(ask("beta", &recorder), ANSWERED);
        EXPECT_EQ(recorder.orders, "/20 ");
        EXPECT_EQ(log.count(LOOKING_UP), 1U);
        EXPECT_FALSE(log.has(" Using cached"));
        EXPECT_EQ(ask("beta"), ANSWERED);
        EXPECT_TRUE(log.has(" Using cached E2E port: " + daemon.address + "\n"));
        EXPECT_EQ(log.count(" Looking up"), 1U);
    }
}

TEST_F(PeerTest, ReadsAnAddressThatNoLongerWorksAnewOnce) {
    EXPECT_EQ((NodeDaemon("beta"), ask("beta")), ANSWERED);
    const LogSince log;
    EXPECT_EQ(ask("beta"), "200");
    EXPECT_EQ(log.count(LOOKING_UP), 1U);
    EXPECT_TRUE(log.has(" CLSC connection failed, second attempt\n"));
    const NodeDaemon after("beta");
    EXPECT_EQ(ask("beta"), ANSWERED);
    EXPECT_EQ(log.count(LOOKING_UP), 2U);
    EXPECT_EQ(TAV::hostportmap()["beta"], after.address);
}

TEST_F(PeerTest, ReportsUselessEntries) {
    const LogSince log;
    EXPECT_EQ(ask("nowhere") + ask(""), "200200");
    for (const std::string& unreadable : {std::string(), std::string(300, 'x')}) {
        publish("beta", unreadable);
        EXPECT_EQ(ask("beta"), "200");
    }
    EXPECT_EQ(log.count(" Unable to read E2E port from zks\n"), 4U);
    for (const char* const nonsense : {"nonsense", "%s%n", "(ADDRESS=(PROTOCOL=ipc)(KEY=../x))"}) {
        publish("beta", nonsense);
        EXPECT_EQ(ask("beta"), "200");
    }
    EXPECT_EQ(log.count(" CLSC connection failed, second attempt\n"), 3U);
}

TEST_F(PeerTest, SurvivesListenersThatAreNoDaemons) {
    const std::string half = ub4(1000) + std::string(150, 'x');
    for (const auto& [bytes, staysOpen] :
         {std::pair{std::string("HTTP/1.0 400 Bad Request\r\n\r\n"), false},
          {ub4(47) + half, false},
          {half, false},
          {half, true},
          {"", false}}) {
        const RawListener listener(1);
        const auto answered = std::async(std::launch::async, &RawListener::answer, &listener,
                                         std::string(bytes), bool(staysOpen));
        const std::string code = ask("beta");
        // Of one that closes at once the write may be told.
        EXPECT_TRUE(code == "300" || (bytes.empty() && code == "400")) << bytes << code;
    }
}

TEST_F(PeerTest, GivesUpConnectingAfterTheRecoveryTime) {
    RawListener listener(0);
    std::vector<int> waiting;
    bool isFull = false;
    while (!isFull && waiting.size() < 16) {
        waiting.push_back(socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0));
        connect(waiting.back(), listener.name(), sizeof listener.at);
        pollfd connected{waiting.back(), POLLOUT, 0};
        isFull = poll(&connected, 1, 200) == 0;
    }
    const LogSince log;
    const std::string code = isFull ? ask("beta") : "";
    for (const int fd : waiting) close(fd);
    if (!isFull) GTEST_SKIP() << "this system lets every connection through";
    EXPECT_EQ(code, "200");
    EXPECT_EQ(log.count(" Retrying after CLSC timeout tobeta\n"), 9U);
    EXPECT_TRUE(log.has(" VORND is unable to connect to host: beta due to connection time out, "
                        "waited for: 1 seconds.\n"));
    EXPECT_EQ(TAV::hostportmap().count("beta"), 0U);
}

TEST_F(PeerTest, EndsExchangesWithAFailedNodeOnly) {
    std::atomic<int> received = 0;
    std::promise<void> release;
    const auto hold = [&received, released = release.get_future().share()](Socket& socket) {
        MessageStream stream(&socket);
        const std::unique_ptr<TAV::Message> request(stream.readMessage());
        ++received;
        released.wait();
        stream.writeMessage(*request);
    };
    const NodeDaemon beta("beta", hold);
    const NodeDaemon gamma("gamma", hold);
    std::vector<std::future<std::string>> answers;
    for (const char* const node : {"beta", "beta", "gamma"})
        answers.push_back(std::async(std::launch::async, [node] { return ask(node); }));
    while (received < 2 || connectionsTo("beta") < 2)
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
    const LogSince log;
    OpenConns::deleteFailedNodeConns("beta");
    EXPECT_TRUE(log.has(" CLEANUP: Searching for connections to failed node beta\n"));
    EXPECT_EQ(log.count(" CLEANUP: Destroying open connection to beta\n"), 2U);
    // One waits for its reply; the other may be anywhere on its way there.
    const std::string codes = answers[0].get() + answers[1].get();
    EXPECT_NE(codes.find("300"), std::string::npos);
    EXPECT_EQ(codes.find('!'), std::string::npos);
    EXPECT_EQ(connectionsTo("gamma"), 1U);
    release.set_value();
    EXPECT_EQ(answers[2].get(), ANSWERED);
}

TEST_F(PeerTest, TakesOutOneEntryFromTheNodeOnward) {
    Socket sockets[3];
    OpenConns::addNewConn("beta", &sockets[0]);
    OpenConns::addNewConn("beta", &sockets[1]);
    OpenConns::deleteStaleConn("beta", &sockets[2]);
    OpenConns::deleteStaleConn("gamma", &sockets[0]);
    EXPECT_EQ(connectionsTo("beta"), 2U);
    OpenConns::deleteStaleConn("alpha", &sockets[0]);
    OpenConns::deleteStaleConn("beta", &sockets[1]);
}

TEST_F(PeerTest, ServesManyThreads) {
    const NodeDaemon beta("beta");
    const NodeDaemon gamma("gamma", echo, addressOf("E2E.gamma"));
    std::vector<std::future<void>> threads;
    for (int thread = 0; thread < 8; ++thread) {
        threads.push_back(std::async(std::launch::async, [thread] {
            for (int i = 0; i < 20; ++i) {
                const std::string text = std::to_string(1000 + 20 * thread + i);
                if (i % 10 == 0) TAV::forgetPeerAddress("beta");
                EXPECT_EQ(ask(i % 2 == 0 ? "beta" : "gamma", nullptr, text),
                          "0c1|3!ASKk3|keyt4|" + text);
            }
        }));
    }
}

TEST_F(PeerTest, LetsFatalFailuresOut) {
    const NodeDaemon daemon("beta");
    EXPECT_EQ(ask("beta"), ANSWERED);
    rlimit limit{};
    getrlimit(RLIMIT_NOFILE, &limit);
    const int next = dup(STDOUT_FILENO);
    close(next);
    const rlimit none{static_cast<rlim_t>(next), limit.rlim_max};
    setrlimit(RLIMIT_NOFILE, &none);
    EXPECT_THROW(ask("beta"), TAV::FatalCommsException);
    setrlimit(RLIMIT_NOFILE, &limit);
}
