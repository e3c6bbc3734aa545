#include "tests/evm/daemon_support.h"

namespace {

std::string numberHex(std::uint64_t value, unsigned bytes) {
    return hex(std::as_bytes(std::span(&value, 1)).first(bytes));
}

/// A communication header of a message of so many bytes, as hex() shows it.
std::string frameHex(std::uint32_t size) {
    return numberHex(size, 4) + "01000000 0902010000000000 0000000000000000 0000000000000000 "
                                "0000000000000000 0000000000000000 ";
}

/// What a daemon's script makes of a connection attempt.
EvmStatus_t attempt(const ScriptedDaemon::Script& script) {
    const ScriptedDaemon daemon(script);
    return Connected().status;
}

} // namespace

TEST(Handshake, RequestsLieOnTheWireAsTheDaemonReadsThem) {
    RecordBytes seen[4];
    Event event(make_event("a.b"));
    {
        const ScriptedDaemon daemon([&](DaemonEnd& end) {
            seen[0] = end.read();
            seen[1] = end.read();
            end.answer(EvmCOMM_CONNECT_RSP);
            seen[2] = end.read();
            seen[3] = end.read();
            end.answer(EvmCOMM_POST_RSP);
        });
        const Connected connection;
        ASSERT_EQ(connection.status, EvmERROR_NONE);
        EXPECT_EQ(EvmEventPost(connection, event), EvmERROR_NONE);
    }
    EXPECT_EQ(hex(seen[0]), frameHex(88) + "6800030001000000 0000000004030201 0000000000000000 "
                                           "4800000000000000 0000000000000000");
    EXPECT_EQ(hex(seen[1]), frameHex(72) + "0100000000000000 " +
                                numberHex(static_cast<unsigned>(getpid()), 8) + " " +
                                numberHex(geteuid(), 4) + "00000000");
    const auto size = static_cast<std::uint32_t>(record_bytes(event).size());
    EXPECT_EQ(hex(seen[2]), frameHex(88) + "6800030009000000 0000000004030201 " +
                                numberHex((*event.out())->identity, 8) + " " + numberHex(size, 4) +
                                "4d000000 0000000000000000");
    EXPECT_EQ(seen[3], record_bytes(event));
    EXPECT_EQ(hex(evm::Bytes(seen[3]).first(48)) + " ", frameHex(size));
}

TEST(Handshake, ArgumentsAreCheckedBeforeAnythingIsConnected) {
    const EvmCallback_t callback = [](EvmConnection_t, EvmCallbackArg_t, EvmCallbackData_t*) {};
    const auto create = [](unsigned type, unsigned mode, EvmTransport_t* transport,
                           EvmCallback_t function) {
        EvmConnection_t made = nullptr;
        const EvmStatus_t status = EvmConnCreateStep(static_cast<EvmConnectionType_t>(type),
                                                     static_cast<EvmResponseMode_t>(mode),
                                                     transport, function, nullptr, &made);
        EXPECT_EQ(made, nullptr);
        return status;
    };
    EXPECT_EQ(
        EvmConnCreate(EvmCONNECTION_POST, EvmRESPONSE_WAIT, nullptr, nullptr, nullptr, nullptr),
        EvmERROR_INVALID_ARGUMENT);
    EXPECT_EQ(create(3, 0, nullptr, nullptr), EvmERROR_INVALID_ARGUMENT);
    EXPECT_EQ(create(0, 3, nullptr, nullptr), EvmERROR_INVALID_ARGUMENT);
    EXPECT_EQ(create(0, 1, nullptr, nullptr), EvmERROR_INVALID_ARGUMENT);
    EXPECT_EQ(create(1, 0, nullptr, callback), EvmERROR_INVALID_ARGUMENT);
    EXPECT_EQ(create(0, 0, nullptr, nullptr), EvmERROR_CONNECT); // nobody listens

    EvmTransport_t transport{};
    const auto named = [&](const std::string& name) {
        transport.info.domainSocket.name = name.c_str();
        return create(0, 0, &transport, nullptr);
    };
    EXPECT_EQ(named(std::string(256, 'x')), EvmERROR_INVALID_ARGUMENT);
    EXPECT_EQ(named(std::string(255, 'x')), EvmERROR_CONNECT);
    EXPECT_EQ(named("(ADDRESS=(PROTOCOL=ipc)(KEY=../x))"), EvmERROR_CONNECT);

    transport.type = EvmTRANSPORT_TCPIP;
    const auto network = [&](const char* host, int port) {
        transport.info.tcpip = {port, host};
        return create(0, 0, &transport, nullptr);
    };
    for (const auto& [host, port] : {std::pair<const char*, int>(nullptr, 0),
                                     {"127.0.0.1", 6190},
                                     {"localhost", 0},
                                     {"127.0.0.1", 65536}})
        EXPECT_EQ(network(host, port), EvmERROR_INVALID_ARGUMENT);
    EXPECT_EQ(network("no-such-host.invalid", 0), EvmERROR_INVALID_VALUE);
    transport.type = static_cast<EvmTransportType_t>(2);
    EXPECT_EQ(create(0, 0, &transport, nullptr), EvmERROR_INVALID_ARGUMENT);
}

TEST(Handshake, AcknowledgementDecides) {
    struct {
        std::uint32_t type, flags;
        EvmStatus_t status;
    } const answers[] = {{EvmCOMM_CONNECT_RSP, 0, EvmERROR_NONE},
                         {EvmCOMM_AUTHENT_RSP, 0, EvmERROR_NONE},
                         {EvmCOMM_SYNCHRO_RSP, 0x4, EvmERROR_NONE},
                         {EvmCOMM_POST_RSP, 0, EvmERROR_NONE},
                         {EvmCOMM_CONNECT_RSP, 0x1, EvmERROR_INVALID_ARGUMENT},
                         {EvmCOMM_CONNECT_RSP, 0x20000, EvmERROR_CONNECTION_REFUSED},
                         {EvmCOMM_CONNECT_RSP, 0x10, EvmERROR_INVALID_VALUE},
                         {EvmCOMM_CONNECT_RSP, 0x20011, EvmERROR_INVALID_ARGUMENT},
                         {EvmCOMM_POST_RSP, 0x20010, EvmERROR_CONNECTION_REFUSED},
                         {EvmCOMM_CONNECT_REQ, 0, EvmERROR_PROTOCOL},
                         {EvmCOMM_NONE, 0, EvmERROR_PROTOCOL},
                         {99, 0, EvmERROR_PROTOCOL}};
    for (const auto& row : answers) {
        SCOPED_TRACE(std::to_string(row.type) + ' ' + std::to_string(row.flags));
        EXPECT_EQ(attempt([&](DaemonEnd& end) {
                      end.read();
                      end.read();
                      // What wants a callback is consumed when there is none.
                      end.answer(EvmCOMM_FLAGS, 0x2, 5);
                      end.answer(row.type, row.flags);
                      end.drain();
                  }),
                  row.status);
    }
}

TEST(Handshake, DaemonsThatFailEndTheAttempt) {
    const auto after = [](int messages, const RecordBytes& bytes, bool stay) {
        return attempt([&](DaemonEnd& end) {
            for (; messages > 0; --messages) end.read();
            end.send(bytes);
            if (stay) end.drain();
        });
    };
    const auto whole = evm::encodeHeader(EvmCOMM_CONNECT_RSP, 0, 0, 0, 1);
    const RecordBytes sound(whole.begin(), whole.end());
    const auto with = [&](std::size_t offset, std::uint32_t value) {
        RecordBytes bytes = sound;
        put(bytes, offset, value);
        return bytes;
    };
    for (const int messages : {0, 1, 2})
        EXPECT_EQ(after(messages, {}, false), EvmERROR_CONNECTION_LOST) << messages;
    const RecordBytes half(sound.begin(), sound.begin() + 40);
    EXPECT_EQ(after(2, half, false), EvmERROR_CONNECTION_LOST);
    EXPECT_EQ(after(2, half, true), EvmERROR_CONNECTION_LOST) << "a message that is never finished";
    EXPECT_EQ(after(2, with(0, 47), true), EvmERROR_CONNECTION_LOST);
    EXPECT_EQ(after(2, with(0, 64U * 1024 * 1024 + 1), true), EvmERROR_CONNECTION_LOST);
    EXPECT_EQ(after(2, with(0, 200), true), EvmERROR_CONNECTION_LOST) << "more than it sends";
    RecordBytes shortHeader = with(0, 60);
    shortHeader.resize(60);
    EXPECT_EQ(after(2, shortHeader, true), EvmERROR_CONNECTION_LOST);
    EXPECT_EQ(after(2, with(48, 0x00030069), true), EvmERROR_PROTOCOL) << "another identifier";
    EXPECT_EQ(after(2, with(60, 0x04030201), true), EvmERROR_PROTOCOL) << "another byte order";
    EXPECT_EQ(after(2, sound, true), EvmERROR_NONE);
}
