#include "tav/comm/Connection.h"
#include "tav/comm/TextMessage.h"
#include "tests/comm/comm_support.h"

#include <gtest/gtest.h>

#include <sstream>

using TAV::Connection;
using TAV::Container;
using TAV::MessageStream;
using TAV::Socket;
using TAV::TextMessage;

namespace {

using namespace std::chrono_literals;

using Script = ScriptedServer::Script;

void send(Socket& socket, const TAV::Message& message) {
    MessageStream(&socket).writeMessage(message);
}

void sendOrder(Socket& socket, const std::vector<std::string>& properties) {
    Container order("ORDER");
    for (const std::string& property : properties) order.SetProperty(property);
    send(socket, order);
}

std::unique_ptr<TAV::Message> receiveRequest(Socket& socket) {
    return std::unique_ptr<TAV::Message>(MessageStream(&socket).readMessage());
}

struct Outcome {
    int code = -1;
    std::string reply; ///< compact; empty when there is none
    std::string printed;
};

Outcome invoke(TAV::OrderHandler* handler = nullptr, bool quiet = false, bool toTorvd = false) {
    std::ostringstream out;
    Container request("REQUEST");
    request.SetProperty("key", "value");
    Container* reply = nullptr;
    Outcome outcome;
    outcome.code = Connection(quiet, out).invokecmd(request, &reply, toTorvd, handler);
    if (reply != nullptr) std::unique_ptr<Container>(reply)->serialize(outcome.reply);
    outcome.printed = out.str();
    return outcome;
}

/// The outcome of a request to a daemon that reads it and goes on with the script.
Outcome invokeWith(const Script& script, TAV::OrderHandler* handler = nullptr, bool quiet = false) {
    ScriptedServer server([&script](Socket& socket) {
        static_cast<void>(receiveRequest(socket));
        script(socket);
    });
    return invoke(handler, quiet);
}

void twoOrders(Socket& socket) {
    sendOrder(socket, {"WAIT=5", "MESSAGE=Starting"});
    sendOrder(socket, {});
    send(socket, Container("RESULT"));
}

} // namespace

TEST(Connection, HandsOverTheFinalReply) {
    for (const bool toTorvd : {false, true}) {
        ScriptedServer server([](Socket& socket) { send(socket, *receiveRequest(socket)); },
                              toTorvd ? "TORVD_UI_SOCKET.testnode" : "VORND_UI_SOCKET.testnode");
        const Outcome outcome = invoke(nullptr, false, toTorvd);
        EXPECT_EQ(outcome.code, 0);
        EXPECT_EQ(outcome.reply, "c1|7!REQUESTk3|keyt5|value");
    }
}

TEST(Connection, FollowsOrders) {
    const LogSince log;
    const Outcome outcome = invokeWith(twoOrders);
    EXPECT_TRUE(log.has(" Waiting for 5 seconds"));
    EXPECT_EQ(outcome.reply, "c0|6!RESULT");
    EXPECT_EQ(outcome.printed, "Starting\n");
    EXPECT_EQ(invokeWith(twoOrders, nullptr, true).printed, "");
    Recorder recorder;
    EXPECT_EQ(invokeWith(twoOrders, &recorder).printed, "");
    EXPECT_EQ(recorder.orders, "Starting/5 /5 ");
}

TEST(Connection, TakesLeadingDigitsAsTheWait) {
    Recorder recorder;
    invokeWith(
        [](Socket& socket) {
            for (const char* const wait :
                 {"7", "", "12x", "-5", "x", "007", "4000001", "99999999999999999999999999", "0"})
                sendOrder(socket, {std::string("WAIT=") + wait});
            send(socket, Container());
        },
        &recorder);
    EXPECT_EQ(recorder.orders, "/7 /7 /12 /0 /0 /7 /4000000 /4000000 /0 ");
}

TEST(Connection, WaitsAsLongAsAnnounced) {
    const LogSince log;
    const Outcome late = invokeWith([](Socket& socket) {
        sendOrder(socket, {"WAIT=1"});
        EXPECT_THROW(receiveRequest(socket), TAV::IOException); // the client closes
    });
    EXPECT_EQ(late.code, 600);
    EXPECT_TRUE(log.has(" Response time exceeded (wait=1)"));
    const Outcome unlimited = invokeWith([](Socket& socket) {
        sendOrder(socket, {"WAIT=1"});
        sendOrder(socket, {"WAIT=0"});
        std::this_thread::sleep_for(1300ms);
        send(socket, Container("LATE"));
    });
    EXPECT_EQ(unlimited.reply, "c0|4!LATE");
}

TEST(Connection, ReportsServersThatGoAwayOrSendNonsense) {
    const LogSince log;
    EXPECT_EQ(invokeWith([](Socket&) {}).code, 300);
    EXPECT_EQ(invokeWith([](Socket& socket) { sendOrder(socket, {}); }).code, 300);
    EXPECT_EQ(invokeWith([](Socket& socket) { sendOrder(socket, {"WAIT=9"}); }).code, 300);
    EXPECT_TRUE(log.has(" CLSC Connection invalid"));
    EXPECT_TRUE(log.has(" Error reading response "));
    const auto afterNonsense = [](const Bytes& bytes) {
        return invokeWith([&bytes](Socket& socket) { sendRaw(socket, bytes); }).code;
    };
    EXPECT_EQ(afterNonsense(frame(std::string(60, '\x7f'))), 300);
    EXPECT_EQ(afterNonsense(frame(chain(1001))), 300);
    EXPECT_EQ(afterNonsense(frame("")), 300);
    EXPECT_EQ(afterNonsense(encode(TextMessage("ORDER"))), 500);
}

TEST(Connection, ReportsADaemonThatDoesNotListen) {
    const LogSince log;
    EXPECT_EQ(invoke().code, 200);
    EXPECT_TRUE(log.has(" Cannot connect to socket " + addressOf("VORND_UI_SOCKET.testnode")));
}

TEST(Connection, AnotherThreadMayInterruptIt) {
    ScriptedServer server([](Socket& socket) {
        static_cast<void>(receiveRequest(socket));
        sendOrder(socket, {"WAIT=60"});
        EXPECT_THROW(receiveRequest(socket), TAV::IOException);
    });
    Client client(server.address);
    Container stays;
    Container* reply = &stays;
    const std::future<void> interrupter = interruptSoon(client.socket);
    for (const int code : {300, 400})
        EXPECT_EQ(Connection().request_reply_(&client.socket, Container("R"), &reply, nullptr),
                  code);
    EXPECT_EQ(reply, nullptr);
}
