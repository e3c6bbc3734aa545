#include "daemons/evmd/Server.h"
#include "tests/evmd/evmd_support.h"

using namespace evmd;
using namespace std::chrono_literals;

namespace {

EvmConnection_t connect() {
    EvmConnection_t connection = nullptr;
    EvmConnCreate(EvmCONNECTION_POST, EvmRESPONSE_WAIT, nullptr, nullptr, nullptr, &connection);
    return connection;
}

TEST(ServerTest, GivesThePlaceOfTheLongestSilentToANewcomer) {
    Limits limits;
    limits.clients = 2;
    limits.superuserReserve = 0;
    limits.clientsPerUser = 2;
    limits.idleTime = 300ms;
    limits.queuedRecords = 1;
    const std::string path = freshFolder() + "/events";
    EventFile file(path, 1 << 20);
    Writer writer(file, limits);
    Server server("(ADDRESS=(PROTOCOL=ipc)(KEY=SYSTEM.evm.acceptor.auth))", limits);
    ASSERT_TRUE(writer.start() && server.start(writer));
    const EventPointer first = makeEvent(1), second = makeEvent(2), third = makeEvent(3);
    const EvmConnection_t silent = connect();
    const EvmConnection_t busy = connect();
    ASSERT_EQ(EvmEventPost(silent, first.get()), EvmERROR_NONE);
    EXPECT_EQ(connect(), nullptr) << "nobody has been silent for long";
    EvmConnection_t newcomer = nullptr;
    while (newcomer == nullptr) {
        ASSERT_EQ(EvmEventPost(busy, second.get()), EvmERROR_NONE);
        newcomer = connect();
    }
    EXPECT_EQ(EvmEventPost(newcomer, third.get()), EvmERROR_NONE);
    EXPECT_EQ(EvmEventPost(busy, third.get()), EvmERROR_NONE);
    EXPECT_EQ(EvmEventPost(silent, third.get()), EvmERROR_CONNECTION_LOST);
    for (const EvmConnection_t connection : {silent, busy, newcomer}) EvmConnDestroy(connection);
    server.stop();
    writer.stop();
    EXPECT_EQ(idsIn(path).back(), 3u);
    EXPECT_NE(diagnostic_log().find("silent for long, and its place is needed"), std::string::npos);
}

} // namespace
