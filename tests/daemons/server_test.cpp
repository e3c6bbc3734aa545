#include "daemons/vornd/Server.h"
#include "tav/comm/MessageStream.h"
#include "tests/daemons/daemons_support.h"

#include <gtest/gtest.h>
#include <pwd.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <sys/wait.h>
#include <unistd.h>

#include <atomic>
#include <chrono>
#include <cstring>
#include <filesystem>
#include <thread>

using namespace vornd;
using namespace std::chrono_literals;

namespace {

using Bytes = std::vector<unsigned char>;
constexpr const char* ENDPOINT = "/run/VORND_TEST.alpha";
constexpr const char* ADDRESS = "(ADDRESS=(PROTOCOL=ipc)(KEY=VORND_TEST.alpha))";

/// A client that sends what bytes it likes.
class RawClient {
public:
    RawClient() {
        sockaddr_un address{};
        address.sun_family = AF_UNIX;
        std::strcpy(address.sun_path, (testFolder() + ENDPOINT).c_str());
        m_connected = connect(m_socket, reinterpret_cast<sockaddr*>(&address), sizeof address) == 0;
    }
    ~RawClient() { close(m_socket); }
    RawClient(const RawClient&) = delete;
    RawClient& operator=(const RawClient&) = delete;

    bool send(const Bytes& bytes, std::size_t count) const {
        return ::send(m_socket, bytes.data(), count, MSG_NOSIGNAL) == static_cast<ssize_t>(count);
    }
    void endSending() const { shutdown(m_socket, SHUT_WR); }
    /// All that comes until the daemon closes; false when it does not within `limit`.
    bool readToEnd(Bytes& all, std::chrono::milliseconds limit = 10s) const {
        const timeval time{limit.count() / 1000, limit.count() % 1000 * 1000};
        setsockopt(m_socket, SOL_SOCKET, SO_RCVTIMEO, &time, sizeof time);
        unsigned char part[4096];
        ssize_t count = 0;
        while ((count = recv(m_socket, part, sizeof part, 0)) > 0)
            all.insert(all.end(), part, part + count);
        return count == 0 || errno == ECONNRESET;
    }
    /// Whether the daemon has closed without a word.
    [[nodiscard]] bool isTurnedAway(std::chrono::milliseconds limit = 10s) const {
        Bytes all;
        return !m_connected || (readToEnd(all, limit) && all.empty());
    }

private:
    int m_socket = socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
    bool m_connected = false;
};

Bytes frameOf(const TAV::Message& message) {
    return TAV::MessageStream().encode(message);
}

std::size_t openDescriptors() {
    const std::filesystem::directory_iterator entries("/proc/self/fd");
    return static_cast<std::size_t>(std::distance(begin(entries), end(entries)));
}

/// Answers with "NAME" of the request, or with a large reply when asked for "large".
FramePointer echo(const TAV::Message& request, const std::string& user) {
    TAV::Container reply("STATUS_REPLY");
    const std::string name = request;
    reply.SetProperty("NAME", name);
    reply.SetProperty("USER", user);
    if (name == "large") reply.SetProperty("FILL", std::string(4'000'000, 'x'));
    if (name == "throw") throw std::runtime_error("thrown on demand");
    return std::make_shared<const Bytes>(frameOf(reply));
}

class ServerTest : public testing::Test {
protected:
    void serve() {
        server = std::make_unique<Server>(ADDRESS, limits, echo);
        ASSERT_TRUE(server->start());
    }
    /// What a well-behaved client gets.
    static std::string ask(const TAV::Message& request) {
        const RawClient client;
        const Bytes frame = frameOf(request);
        Bytes reply;
        if (!client.send(frame, frame.size())) return "";
        client.endSending();
        if (!client.readToEnd(reply) || reply.empty()) return "";
        auto bytes = std::make_unique<unsigned char[]>(reply.size());
        std::copy(reply.begin(), reply.end(), bytes.get());
        TAV::MessageStream stream(bytes.release(), static_cast<unsigned>(reply.size()));
        const std::unique_ptr<TAV::Message> message(stream.readMessage());
        return describe(*TAV::asContainer(message.get()));
    }
    static bool isServing() { return ask(TAV::Container("hello")) == "NAME=hello USER=" + self(); }
    static const std::string& self() {
        static const std::string name = getpwuid(geteuid())->pw_name;
        return name;
    }
    Limits limits;
    std::unique_ptr<Server> server;
};

TEST_F(ServerTest, HostileClientsHoldUpNobody) {
    limits.requestTime = 1500ms;
    limits.replyTime = 1500ms;
    serve();
    const Bytes large = frameOf(TAV::Container("large"));
    const RawClient silent, half, slow, deaf;
    ASSERT_TRUE(half.send(large, large.size() / 2));
    ASSERT_TRUE(deaf.send(large, large.size()));
    std::atomic<bool> done{false};
    std::thread trickle([&] {
        for (std::size_t i = 0; i < large.size() && !done; ++i) {
            slow.send({large[i]}, 1);
            std::this_thread::sleep_for(50ms);
        }
    });
    std::vector<std::thread> clients;
    std::atomic<int> served{0};
    for (int i = 0; i < 16; ++i)
        clients.emplace_back([&] {
            for (int j = 0; j < 20; ++j) served += isServing() ? 1 : 0;
        });
    for (std::thread& client : clients) client.join();
    EXPECT_EQ(served, 16 * 20);
    EXPECT_TRUE(silent.isTurnedAway());
    EXPECT_TRUE(half.isTurnedAway());
    EXPECT_TRUE(slow.isTurnedAway());
    done = true;
    trickle.join();
    const std::string late = "client of " + self() + " dropped: did not take the reply in time";
    EXPECT_TRUE(eventually([&] { return diagnosticLog().find(late) != std::string::npos; }));
    Bytes cut;
    EXPECT_TRUE(deaf.readToEnd(cut));
    EXPECT_LT(cut.size(), 4'000'000u);
    EXPECT_NE(diagnosticLog().find("dropped: sent no whole request in time"), std::string::npos);
}

TEST_F(ServerTest, RequestsThatFailLeaveNothingBehind) {
    serve();
    ASSERT_TRUE(isServing());
    const std::size_t before = openDescriptors();
    const Bytes frame = frameOf(TAV::Container("large"));
    for (std::size_t count = 0; count <= frame.size(); ++count) RawClient().send(frame, count);
    EXPECT_EQ(ask(TAV::Container("throw")), "");
    EXPECT_NE(diagnosticLog().find("dropped: thrown on demand"), std::string::npos);
    EXPECT_TRUE(isServing());
    EXPECT_TRUE(eventually([&] { return openDescriptors() <= before; })) << openDescriptors();
}

TEST_F(ServerTest, LimitsClientsInAllAndOfOneUser) {
    const passwd* const nobody = getpwnam("nobody");
    if (geteuid() != 0 || nobody == nullptr) GTEST_SKIP() << "needs the superuser";
    limits.clients = 8;
    limits.superuserReserve = 2;
    limits.clientsPerUser = 4;
    serve();
    const auto admitted = [](uid_t user) {
        const pid_t child = fork();
        if (child == 0) {
            if (setuid(user) != 0) _exit(99);
            const RawClient clients[10];
            std::this_thread::sleep_for(300ms);
            int turnedAway = 0;
            for (const RawClient& client : clients) turnedAway += client.isTurnedAway(1ms) ? 1 : 0;
            _exit(10 - turnedAway);
        }
        int status = 0;
        waitpid(child, &status, 0);
        return WEXITSTATUS(status);
    };
    EXPECT_EQ(admitted(nobody->pw_uid), 4);
    EXPECT_TRUE(eventually([&] { return admitted(0) == 8; }));
    std::vector<std::unique_ptr<RawClient>> roots;
    // A root that comes before the places of those above are free again is turned away.
    const auto isFullOfRoots = [&] {
        roots.clear();
        std::this_thread::sleep_for(50ms);
        for (int i = 0; i < 6; ++i) roots.push_back(std::make_unique<RawClient>());
        return admitted(nobody->pw_uid) == 0;
    };
    EXPECT_TRUE(eventually(isFullOfRoots)) << "the reserve is the superuser's";
    EXPECT_TRUE(isServing());
    EXPECT_NE(diagnosticLog().find("client of nobody refused: too many clients of this user"),
              std::string::npos);
}

} // namespace
