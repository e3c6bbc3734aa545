#include "evm/libevm/con.h"
#include "evm/libevm/global_context.h"
#include "evm/libevm/host_address.h"
#include "platform/include/nipc.h"
#include "tests/evm/evm_support.h"

namespace {

class Con {
public:
    Con() { EXPECT_EQ(EvmConCreate(&m_con), EvmERROR_NONE); }
    ~Con() { EvmConDestroy(m_con); }
    Con(const Con&) = delete;
    Con& operator=(const Con&) = delete;
    operator EvmCon_t() const { return m_con; }
    EvmCon_t operator->() const { return m_con; }

private:
    EvmCon_t m_con = nullptr;
};

constexpr const char* ADDRESS = "(ADDRESS=(PROTOCOL=ipc)(KEY=io))";

/// Two ends of one connection.
struct Ends {
    Ends() {
        EXPECT_EQ(EvmConListen(server, ADDRESS), EvmERROR_NONE);
        EXPECT_EQ(EvmConConnect(client, ADDRESS, EvmTRUE), EvmERROR_NONE);
        EXPECT_EQ(EvmConAnswer(server), EvmERROR_NONE);
    }
    Con server, client;
};

EvmEvent_t eventOfSize(std::size_t size) {
    EvmEvent_t event = make_event("a.b");
    // A reference's block takes what the name's 136 bytes leave.
    if (size > 136) {
        const std::string text(size - 136 - 8 - 1, 'r');
        EvmItemSetVa(event, EvmITEM_REF, text.c_str(), EvmITEM_NONE);
    }
    EXPECT_EQ(record_bytes(event).size(), size);
    return event;
}

} // namespace

TEST(Files, AreWalkedAndReadRecordByRecord) {
    const std::string name = test_folder() + "/records";
    const int fd = open(name.c_str(), O_RDWR | O_CREAT | O_CLOEXEC, 0600);
    for (const std::size_t size : {136U, 200U}) {
        const Event event(eventOfSize(size));
        ASSERT_EQ(EvmEventWriteFD(fd, event), EvmERROR_NONE);
    }
    std::uint32_t type = 7;
    std::int64_t next = 7;
    const auto walk = [&](std::int64_t from) { return EvmEventFileWalk(fd, from, &type, &next); };
    for (const std::int64_t from : {0, 136}) {
        EXPECT_EQ(walk(from), EvmERROR_NONE);
        EXPECT_EQ(type, 1U);
        EXPECT_EQ(next, from == 0 ? 136 : 336);
    }
    EXPECT_EQ(walk(336), EvmERROR_NONE);
    EXPECT_EQ(type, 0U);
    EXPECT_EQ(next, 0);
    EXPECT_EQ(walk(-1), EvmERROR_INVALID_ARGUMENT);
    EXPECT_EQ(walk(8), EvmERROR_READ);
    EXPECT_EQ(walk(300), EvmERROR_READ);
    // A block that names no length would be walked for ever.
    const std::uint32_t lie = 0;
    ASSERT_EQ(pwrite(fd, &lie, sizeof lie, 136 + 52), 4);
    EXPECT_EQ(walk(136), EvmERROR_READ);

    lseek(fd, 0, SEEK_SET);
    Event read;
    EXPECT_EQ(EvmEventReadFD(fd, read.out()), EvmERROR_NONE);
    EXPECT_EQ(record_bytes(read).size(), 136U);
    Event none;
    EXPECT_EQ(EvmEventReadFD(fd, none.out()), EvmERROR_INVALID_VALUE);
    const auto readAfter = [&](off_t length) {
        EXPECT_EQ(ftruncate(fd, length), 0);
        lseek(fd, 0, SEEK_SET);
        const EvmStatus_t status = EvmEventReadFD(fd, none.out());
        EXPECT_EQ(none, nullptr);
        return status;
    };
    EXPECT_EQ(readAfter(135), EvmERROR_READ);
    EXPECT_EQ(readAfter(60), EvmERROR_READ);
    EXPECT_EQ(readAfter(0), EvmERROR_EOF);
    close(fd);

    int ends[2];
    ASSERT_EQ(pipe(ends), 0);
    close(ends[0]);
    EXPECT_EQ(EvmEventWriteFD(ends[1], read), EvmERROR_WRITE); // and the process goes on
    close(ends[1]);
}

TEST(Con, LongMessagesAndRecordsAreReceivedWhole) {
    const Ends ends;
    const Event sent(eventOfSize(40000));
    std::thread writer([&] {
        EXPECT_EQ(EvmEventWrite(ends.client, sent), EvmERROR_NONE);
        EXPECT_EQ(EvmEventWrite(ends.client, sent), EvmERROR_NONE);
    });
    Event read;
    EXPECT_EQ(EvmEventRead(ends.server, read.out(), 0), EvmERROR_NONE);
    EXPECT_EQ(record_bytes(read), record_bytes(sent));
    RecordBytes buffer(40000);
    EXPECT_EQ(EvmConReceive(ends.server, buffer.data(), 100, EvmTRUE), EvmERROR_PARTIAL);
    EXPECT_EQ(evm::load<std::uint32_t>(buffer, 0), 40000U);
    EXPECT_EQ(EvmConReceive(ends.server, buffer.data(), 40000, EvmTRUE), EvmERROR_NONE);
    EXPECT_EQ(buffer, record_bytes(sent));
    writer.join();

    EXPECT_EQ(EvmConReceive(ends.server, buffer.data(), 48, EvmFALSE), EvmERROR_WOULDBLOCK);
    EXPECT_EQ(EvmConSend(ends.client, buffer.data(), 47), EvmERROR_INVALID_ARGUMENT);
    EXPECT_EQ(EvmConSend(ends.client, buffer.data(), 50), EvmERROR_NONE);
    Event none;
    EXPECT_EQ(EvmEventRead(ends.server, none.out(), 0), EvmERROR_INVALID_VALUE);
    EXPECT_EQ(EvmConPost(ends.server), EvmERROR_NONE);
    EXPECT_EQ(EvmConWait(ends.server, -1), EvmERROR_SIGNAL);
    EXPECT_EQ(EvmConDisconnect(ends.client), EvmERROR_NONE);
    EXPECT_EQ(EvmConIsConnected(ends.client), EvmFALSE);
    EXPECT_EQ(EvmConDisconnect(ends.client), EvmERROR_PROTOCOL);
    EXPECT_EQ(EvmConReceive(ends.server, buffer.data(), 48, EvmTRUE), EvmERROR_EOF);
    EXPECT_EQ(EvmConWait(ends.server, -1), EvmERROR_CONNECTION_LOST);
}

TEST(Con, AllOfAProcessShareOneContext) {
    auto count = [] { return evm::_evmGlobalContext()->ctxcount; };
    EXPECT_EQ(count(), 0);
    {
        const Con first;
        const Con second;
        EXPECT_EQ(first->ctx, second->ctx);
        EXPECT_EQ(count(), 2);
    }
    EXPECT_EQ(count(), 0);
    EXPECT_EQ(evm::_evmGlobalContext()->ctxnipc, nullptr);
    nipcCtx* context = nullptr;
    EXPECT_EQ(nipcContextF(&context), NIPC_FAILED); // the transport is shut down
    EvmCon_t dead = nullptr;
    EvmConCreate(&dead);
    EvmConDestroy(dead);
    EXPECT_EQ(EvmConDestroy(dead), EvmERROR_INVALID_ARGUMENT);
    EXPECT_EQ(EvmConWait(dead, 0), EvmERROR_INVALID_ARGUMENT);
}

TEST(Pipes, CarryEventsBetweenPrograms) {
    EvmPipe server, client;
    ASSERT_EQ(EvmPipeCreate(&server, nullptr), EvmERROR_NONE);
    EXPECT_STREQ(server.name, "(ADDRESS=(PROTOCOL=tcp)(HOST=127.0.0.1))");
    EXPECT_EQ(EvmPipeAccept(&server), EvmERROR_NOT_INITIALIZED); // does not listen yet
    ASSERT_EQ(EvmPipeListen(&server), EvmERROR_NONE);
    ASSERT_EQ(EvmPipeCreate(&client, server.baseName), EvmERROR_NONE);
    ASSERT_EQ(EvmPipeConnect(&client), EvmERROR_NONE);
    ASSERT_EQ(EvmPipeAccept(&server), EvmERROR_NONE);
    const Event event(make_event("a.b"));
    EXPECT_EQ(EvmEventWrite(client.con, event), EvmERROR_NONE);
    Event read;
    EXPECT_EQ(EvmEventRead(server.con, read.out(), 0), EvmERROR_NONE);
    EXPECT_EQ(nipcGetPeerF(server.con->endpC.get(), nullptr, nullptr), NIPC_FAILED);
    EXPECT_EQ(EvmPipeDestroy(&client), EvmERROR_NONE);
    EXPECT_EQ(EvmPipeDestroy(&server), EvmERROR_NONE);

    EXPECT_EQ(EvmPipeCreate(&server, ""), EvmERROR_NONE);
    for (const auto operation : {EvmPipeListen, EvmPipeAccept, EvmPipeConnect, EvmPipeDestroy})
        EXPECT_EQ(operation(&server), EvmERROR_NOT_INITIALIZED);
    EXPECT_EQ(EvmPipeCreate(&server, std::string(2048, 'x').c_str()), EvmERROR_INVALID_ARGUMENT);
    EXPECT_EQ(EvmPipeCreate(&server, "(ADDRESS=(PROTOCOL=tcp)(HOST=127.0.0.1))"), EvmERROR_NONE);
    EXPECT_EQ(EvmPipeConnect(&server), EvmERROR_CONNECT); // no port
    EvmPipeDestroy(&server);
}

TEST(Environment, VariablesAndPaths) {
    setenv("EVM_TEST_VARIABLE", "/there", 1);
    const auto path = [](const char* variable) {
        const std::unique_ptr<char, decltype(&std::free)> made(EvmGetAbsolutePath(variable, "/x"),
                                                               std::free);
        return std::string(made.get());
    };
    EXPECT_EQ(EvmGetEnvironmentVariable(nullptr, nullptr), nullptr);
    EXPECT_STREQ(EvmGetEnvironmentVariable("EVM_TEST_ABSENT", "x"), "x");
    EXPECT_EQ(path("EVM_TEST_VARIABLE"), "/there");
    EXPECT_EQ(path("EVM_TEST_ABSENT"), std::string(std::getenv("ZEL_VORN_HOME")) + "/x");
    const AllocationLimit none(0);
    EXPECT_EXIT(EvmGetAbsolutePath("EVM_TEST_ABSENT", "/x"), testing::ExitedWithCode(14),
                "^memory allocation fails\\..*Cannot allocate memory");
}

TEST(Environment, HostsFileGivesTheFirstExactName) {
    const std::string file = test_folder() + "/hosts";
    std::ofstream(file) << "# 9.9.9.9 alpha\n1.1.1.1 #alpha\n2.2.2.2 beta alpha\n"
                        << std::string(130, ' ') << "3.3.3.3 alpha\n"
                        << "10.20.30.40\talpha # first\n11.0.0.1 alpha\n256.1.1.1 gamma\n";
    EXPECT_EQ(evm::_evmHostAddress("alpha", file.c_str()), 0x281E140AU);
    EXPECT_EQ(evm::_evmHostAddress("beta", file.c_str()), 0x02020202U);
    EXPECT_EQ(evm::_evmHostAddress("gamma", file.c_str()), 0U);
    EXPECT_EQ(evm::_evmHostAddress("delta", file.c_str()), 0U);
    EXPECT_EQ(evm::_evmHostAddress("alpha", "/nonexistent"), 0U);
}
