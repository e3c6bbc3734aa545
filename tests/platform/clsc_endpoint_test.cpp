#include "tests/platform/clsc_support.h"
#include "tests/platform/node_support.h"

#include <pwd.h>
#include <sys/socket.h>

namespace {

const std::string ANY_PORT = "(ADDRESS=(PROTOCOL=tcp)(HOST=127.0.0.1))";

std::string address_of(const Handle& con, unsigned kind) {
    unsigned char text[256];
    EXPECT_EQ(clscgetaddr(con.get(), text, sizeof text, kind), CLSC_OK);
    return text_of(text);
}

int listen_result(const std::string& address) {
    int result = -1;
    listen_at(address, &result);
    return result;
}

int connect_result(const std::string& address, unsigned options = CLSC_OPT_SYNC) {
    int result = -1;
    connect_to(address, options, &result);
    return result;
}

/// Answers with authentication; `user` becomes what the layer tells of the peer.
Handle answer_user(const Handle& listener, std::string& user) {
    clsccon* con = nullptr;
    unsigned char name[128] = "old";
    EXPECT_EQ(clscanswer(listener.get(), 0, &con, 0, 0, name, sizeof name, CLSC_K60,
                         CLSC_MODE_AUTH | CLSC_MODE_WAIT),
              CLSC_OK);
    user = text_of(name);
    return Handle(con);
}

} // namespace

TEST(ClscAddress, Table) {
    const std::string key(255, 'k');
    const std::pair<std::string, std::string> cases[] = {
        {"(ADDRESS=(PROTOCOL=ipc)(KEY=VORND_UI_SOCKET.alpha))", "VORND_UI_SOCKET.alpha"},
        {"clsc://(ADDRESS=(KEY=" + key + ")(PROTOCOL=ipc))", key},
        {"(ADDRESS=(PROTOCOL=tcp)(HOST=::1)(PORT=65535))", "::1 65535"},
        {ANY_PORT, "127.0.0.1 0"},
        {"", ""},
        {"clsc://clsc://(ADDRESS=(PROTOCOL=ipc)(KEY=K))", ""},
        {"(ADDRESS=(PROTOCOL=ipc)(KEY=K)", ""},
        {"(ADDRESS=(PROTOCOL=ipc)(KEY=(K)))", ""},
        {"(ADDRESS=(PROTOCOL=ipc)(KEY=K)(KEY=K))", ""},
        {"(ADDRESS=(PROTOCOL=ipc)(KEY=" + key + "k))", ""},
        {"(ADDRESS=(PROTOCOL=ipc)(KEY=a/b))", ""},
        {"(ADDRESS=(PROTOCOL=ipc)(KEY=..))", ""},
        {std::string("(ADDRESS=(PROTOCOL=ipc)(KEY=a\0b))", 33), ""},
        {"(ADDRESS=(PROTOCOL=tcp)(PORT=1))", ""},
        {"(ADDRESS=(PROTOCOL=tcp)(HOST=h)(PORT=65536))", ""},
        {"(ADDRESS=(PROTOCOL=tcp)(HOST=h)(PORT=1x))", ""},
    };
    for (const auto& [text, expected] : cases) {
        clsc_address address;
        ASSERT_EQ(clsc_parse_address(text, address), !expected.empty()) << text;
        const std::string tcp = address.host + " " + std::to_string(address.port);
        if (expected.empty()) continue;
        EXPECT_EQ(address.key.empty() ? tcp : address.key, expected);
    }
}

TEST(ClscConnect, ResultsTellWhatIsWrong) {
    const std::string closed = "(ADDRESS=(PROTOCOL=tcp)(HOST=127.0.0.1)(PORT=1))";
    EXPECT_EQ(connect_result(""), CLSC_BADADDR);
    EXPECT_EQ(connect_result(ipc(std::string(107, 'k'))), CLSC_BADADDR);
    EXPECT_EQ(connect_result(ipc("nobody")), CLSC_REFUSED);
    EXPECT_EQ(connect_result(ANY_PORT), CLSC_BADADDR);
    EXPECT_EQ(connect_result(closed), CLSC_REFUSED);
    EXPECT_EQ(connect_result(closed, CLSC_OPT_PEER), CLSC_REFUSED);
}

TEST(ClscConnect, LocalAndNetworkEndsKnowEachOther) {
    for (const std::string& at : {ipc("local"), ANY_PORT}) {
        const bool local = at != ANY_PORT;
        const Handle listener = listen_at(at);
        const std::string address = address_of(listener, CLSC_ADDR_LOCAL);
        const Handle client = connect_to(address, local ? CLSC_OPT_LOCAL : CLSC_OPT_PEER);
        EXPECT_EQ(clscwaitconnectcompl(client.get(), 5000, 0), CLSC_OK);
        std::string user;
        const Handle server = answer_user(listener, user);
        EXPECT_EQ(user, local ? getpwuid(geteuid())->pw_name : "");
        EXPECT_EQ(address_of(client, 0), address);
        EXPECT_EQ(address_of(client, CLSC_ADDR_LOCAL), address_of(server, 0));
        clscmsgh got[2];
        EXPECT_EQ(send_message(client, message(70)), CLSC_OK);
        EXPECT_EQ(clscreceive(server.get(), got, sizeof got, 0, 0, CLSC_MODE_WAIT), CLSC_OK);
        EXPECT_EQ(got->size_clscmsgh, 70U);
        EXPECT_EQ(connect_result(address, CLSC_OPT_AUTH), local ? CLSC_OK : CLSC_REFUSED);
        EXPECT_EQ(listen_result(address), CLSC_INUSE);
    }
}

TEST(ClscConnect, FullQueueIsWaitedForWithinTheLimit) {
    const platform::Descriptor listener = raw_listener(endpoint_path("full"), 0);
    const platform::Descriptor first = raw_client(endpoint_path("full"));
    int result = -1;
    const Stopwatch watch;
    EXPECT_EQ(connect_to(ipc("full"), CLSC_OPT_SYNC, &result, 1), nullptr);
    EXPECT_EQ(result, CLSC_TIMEOUT);
    EXPECT_GE(watch.ms(), 1000);
    EXPECT_LT(watch.ms(), 5000);

    const Handle later = connect_to(ipc("full"), CLSC_OPT_ASYNC);
    EXPECT_EQ(clscwaitconnectcompl(later.get(), 30, 0), CLSC_TIMEOUT);
    EXPECT_EQ(send_message(later, message(48)), CLSC_INVALID);
    const platform::Descriptor accepted(accept(listener.get(), nullptr, nullptr));
    EXPECT_EQ(clscwaitconnectcompl(later.get(), 5000, 0), CLSC_OK);
    EXPECT_EQ(send_message(later, message(48)), CLSC_OK);
}

TEST(ClscListen, EndpointIsOpenToAllUsersAndGoneAfterwards) {
    const mode_t before = umask(0077);
    const Handle listener = listen_at(ipc("mode"));
    umask(before);
    struct stat status {};
    ASSERT_EQ(stat(endpoint_path("mode").c_str(), &status), 0);
    EXPECT_EQ(status.st_mode & 0777, 0666U);
    clscdisc(listener.get());
    EXPECT_NE(stat(endpoint_path("mode").c_str(), &status), 0);
    EXPECT_EQ(listen_result(ipc("mode")), CLSC_OK);
}

TEST(ClscListen, OnlyWhatADeadProcessLeftIsReplaced) {
    const auto die_listening = [] {
        const Handle listener = listen_at(ipc("dead"));
        return listener != nullptr ? raise(SIGKILL) : 0;
    };
    EXPECT_EQ(run_in_child(die_listening), 128 + SIGKILL);
    EXPECT_EQ(access(endpoint_path("dead").c_str(), F_OK), 0);
    EXPECT_EQ(listen_result(ipc("dead")), CLSC_OK);

    const platform::Descriptor foreign = raw_listener(endpoint_path("foreign"), 8);
    EXPECT_EQ(listen_result(ipc("foreign")), CLSC_INUSE);
    EXPECT_EQ(connect_result(ipc("foreign")), CLSC_OK);
    write_file(endpoint_path("file"), "precious");
    EXPECT_EQ(listen_result(ipc("file")), CLSC_REFUSED);
    EXPECT_EQ(read_file(endpoint_path("file")), "precious");

    // An endpoint that somebody else put in the place of a removed one is not ours to remove.
    Handle listener = listen_at(ipc("swept"));
    unlink(endpoint_path("swept").c_str());
    const platform::Descriptor newcomer = raw_listener(endpoint_path("swept"), 8);
    listener.reset();
    EXPECT_EQ(connect_result(ipc("swept")), CLSC_OK);
}

TEST(ClscListen, OfManyStartersOneWins) {
    for (int round = 0; round < 100; ++round) {
        // Left behind by a dead process, so that every starter sees a reason to replace it.
        raw_listener(endpoint_path("race"), 1);
        std::vector<Handle> listeners(4);
        std::atomic<std::size_t> ready{0};
        on_threads(listeners.size(), [&](std::size_t starter) {
            for (++ready; ready != listeners.size();) std::this_thread::yield();
            listeners[starter] = listen_at(ipc("race"));
        });
        EXPECT_EQ(std::count(listeners.begin(), listeners.end(), nullptr), 3);
        EXPECT_EQ(connect_result(ipc("race")), CLSC_OK);
    }
}

TEST(ClscNaming, ConnectStringOfThisNode) {
    char buffer[CLSC_ADDRESS_SIZE];
    EXPECT_EQ(clsvorn_getconnstr(buffer, "VORND_UI_SOCKET", CLSVORN_DAEMON_VORND), CLSVORN_OK);
    EXPECT_STREQ(buffer, "(ADDRESS=(PROTOCOL=ipc)(KEY=VORND_UI_SOCKET.testnode))");
    // Folder, key, "." and "testnode" may be 107 bytes long.
    const std::size_t room = 107 - endpoint_path("").size() - 9;
    EXPECT_EQ(clsvorn_getconnstr(buffer, std::string(room, 's').c_str(), 3), CLSVORN_OK);
    EXPECT_EQ(clsvorn_getconnstr(buffer, std::string(room + 1, 's').c_str(), 3), CLSVORN_KEYLONG);
    EXPECT_STREQ(buffer, "");
}
