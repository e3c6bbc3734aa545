#include "tav/comm/InetAddress.h"
#include "tav/comm/TextMessage.h"
#include "tav/comm/clscContext.h"
#include "tests/comm/comm_support.h"

#include <gtest/gtest.h>
#include <netdb.h>
#include <pwd.h>
#include <unistd.h>

#include <sstream>

using TAV::InetAddress;
using TAV::IOException;
using TAV::MessageStream;
using TAV::Socket;
using TAV::TextMessage;

namespace {

/// The frame of a text, of that many bytes.
Bytes textFrame(std::size_t total) {
    return encode(TextMessage(std::string(total - 144, 'x')));
}

/// What a stream makes of the frame that a server sends: the text received, or the failure.
std::string receive(const Bytes& sent, std::uint32_t limit = MessageStream::MAX_FRAME) {
    const ScriptedServer server([&sent](Socket& socket) { sendRaw(socket, sent); });
    Client client(server.address);
    std::string text;
    return failureOf([&] {
               MessageStream stream(&client.socket);
               stream.limitFrame(limit);
               text = *std::unique_ptr<TAV::Message>(stream.readMessage());
           }) +
           text;
}

/// A script that waits until the client is gone.
void untilClosed(Socket& socket) {
    clscmsgh header{};
    while (socket.tav_clsrecv(&header, sizeof header) == CLSC_OK) {
    }
}

} // namespace

TEST(Socket, CarriesFramesUpToTheLimit) {
    for (const std::size_t size : {148U, 4096U, 4097U, 5'242'880U})
        EXPECT_EQ(receive(textFrame(size)).size(), size - 144) << size;
    const LogSince log;
    EXPECT_EQ(receive(textFrame(5'242'881)), "IOException: Message size too big or negative");
    EXPECT_TRUE(log.has(" Strange message size 5242881")) << log.text();
    EXPECT_EQ(receive(textFrame(4097), 4096), "IOException: Message size too big or negative");
}

TEST(Socket, BelievesTheLayerAboutAFramesLength) {
    const auto sent = [](std::uint32_t claimed) {
        return lyingFrame(str("text"), "TextMessage", claimed);
    };
    const LogSince log;
    for (const std::uint32_t claimed : {8U, 3000U, 5'000'000U})
        EXPECT_EQ(receive(sent(claimed)), "text");
    EXPECT_EQ(receive(lyingFrame(ub4(1000), "TextMessage", 5'000'000)),
              "IOException: MessageStream::get past buffer end");
    EXPECT_EQ(receive(sent(0xffffffff)), "IOException: Message size too big or negative");
    EXPECT_TRUE(log.has(" Strange message size 4294967435")) << log.text();
    EXPECT_EQ(receive(sent(7)), "IOException: Didn't receive message");
    EXPECT_TRUE(log.has(" Error in receiving message tav_clsrecv ret 12")) << log.text();
    EXPECT_EQ(receive(frame("", "TextMessage")),
              "IOException: Didn't receive header part of message");
    EXPECT_TRUE(log.has(" Receive message header tav_clsrecv ret 0")) << log.text();
}

TEST(Socket, InterruptionEndsABlockedReceive) {
    const LogSince log;
    ScriptedServer server(untilClosed);
    Client client(server.address);
    {
        const std::future<void> interrupter = interruptSoon(client.socket);
        EXPECT_THROW(MessageStream(&client.socket).readMessage(), IOException);
    }
    EXPECT_FALSE(client.socket.connisValid());
    EXPECT_NE(client.socket.getHandle(), nullptr);
    EXPECT_EQ(sendRaw(client.socket, textFrame(150)), CLSC_INVALID);
    EXPECT_TRUE(log.has(" CLEANUP: quiesceing connection 0x"));
}

TEST(Socket, CopiesShareTheConnection) {
    const ScriptedServer server(untilClosed);
    Client client(server.address);
    Socket assigned;
    assigned = client.socket;
    Socket copy(assigned);
    EXPECT_TRUE(copy == client.socket && !(copy < client.socket) && !(copy == Socket()));
    copy.close();
    copy.close();
    EXPECT_EQ(copy.getHandle(), nullptr);
    EXPECT_EQ(sendRaw(assigned, textFrame(150)), CLSC_INVALID);
}

TEST(Socket, TellsWhyItCannotConnectOrListen) {
    const ScriptedServer server([](Socket&) {}, "endpoint");
    const auto connect = [](const std::string& to) { return failureOf([&to] { Client{to}; }); };
    const auto listen = [](const std::string& at) { return failureOf([&at] { Listener{at}; }); };
    const std::string nobody = addressOf("nobody");
    EXPECT_EQ(connect(nobody), "IOException: clscconnect to " + nobody + " failed with ret 21");
    EXPECT_EQ(connect(""), "IOException: clscconnect to  failed with ret 20");
    EXPECT_EQ(listen(server.address), "EndPointException: clsclisten failed, port in use");
    EXPECT_EQ(listen("nonsense"), "IOException: clsclisten failed with ret 20");
}

TEST(ServerSocket, KnowsTheUserBehindAnAuthenticatedConnection) {
    const passwd* const entry = getpwuid(geteuid());
    const std::string self = entry == nullptr ? std::to_string(geteuid()) : entry->pw_name;
    for (const char* const location : {static_cast<const char*>(nullptr), "here"}) {
        std::string user;
        {
            ScriptedServer server(
                [&user](Socket& socket) {
                    user =
                        (socket.isAuthenticated() ? "+" : "-") + std::string(socket.getUsername());
                },
                "endpoint", location);
            Client client(server.address);
            EXPECT_THROW(MessageStream(&client.socket).readMessage(), IOException);
        }
        EXPECT_EQ(user, location == nullptr ? "-" : "+" + self);
    }
}

TEST(ServerSocket, AnswersNothingWhenNobodyConnects) {
    Listener listener(addressOf("endpoint"));
    Socket into;
    EXPECT_EQ(listener.socket.accept(&into, false), CLSC_NOTHING);
    {
        const std::future<void> interrupter = interruptSoon(listener.socket);
        EXPECT_EQ(listener.socket.accept(&into, true), CLSC_NOTHING);
    }
    EXPECT_EQ(into.getHandle(), nullptr);
    listener.socket.close();
    EXPECT_THROW(listener.socket.accept(&into, true), cls::Exception);
    const Listener again(addressOf("endpoint"));
}

TEST(InetAddress, SplitsNamesAndShowsAddresses) {
    char bytes[] = {10, 1, '\xc8', 3};
    char* addresses[] = {bytes, nullptr};
    char name[] = "alpha.example.org";
    hostent entry{name, nullptr, AF_INET, 4, addresses};
    const InetAddress full(&entry);
    std::ostringstream out;
    out << full << full.getDomain();
    EXPECT_EQ(out.str(), "InetAddress[alpha, 10.1.200.3]example.org");
    name[5] = '\0';
    entry.h_addrtype = AF_INET6;
    const InetAddress bare(&entry);
    EXPECT_EQ(bare.getHostName() + bare.getDomain(), "alpha");
    EXPECT_EQ(bare.getAddress(), nullptr);
    EXPECT_TRUE(bare == full && !(full == bare));
    EXPECT_EQ(InetAddress::getLocalHostName(), "testnode");
}

TEST(Context, BoundsTraceTexts) {
    const LogSince log;
    std::string format = "%s-%d";
    const std::string text(2000, 'x');
    auto* const bytes = reinterpret_cast<unsigned char*>(format.data());
    EXPECT_EQ(TAV::tavCbkTrace(nullptr, bytes, "text", 7), 1);
    EXPECT_EQ(TAV::tavCbkTrace(nullptr, bytes, text.c_str(), 7), 1);
    EXPECT_TRUE(log.has(" text-7"));
    EXPECT_TRUE(log.has(" x", ": " + std::string(" ") + text.substr(0, 1023)));
    EXPECT_GE(TAV::tavsleep(2), 2000);
}
