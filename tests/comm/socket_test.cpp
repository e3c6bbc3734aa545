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
    EXPECT_TRUE(log.has(" Strange message size 5242881"));
    EXPECT_EQ(receive(textFrame(4097), 4096), "IOException: Message size too big or negative");
}

TEST(Socket, BelievesTheLayerAboutAFramesLength) {
    const auto sent = [](std::uint32_t claimed) {
        return lyingFrame(str("text"), "TextMessage", claimed);
    };
    for (const std::uint32_t claimed : {8U, 3000U, 5'000'000U})
        EXPECT_EQ(receive(sent(claimed)), "text");
    EXPECT_EQ(receive(lyingFrame(ub4(1000), "TextMessage", 5'000'000)),
              "IOException: MessageStream::get past buffer end");
    EXPECT_EQ(receive(sent(0xffffffff)), "IOException: Message size too big or negative");
    EXPECT_EQ(receive(sent(7)), "IOException: Didn't receive message");
    EXPECT_EQ(receive(frame("", "TextMessage")),
              "IOException: Didn't receive header part of message");
}

TEST(Socket, CopiesShareTheConnection) {
    const ScriptedServer server(untilClosed);
    Client client(server.address);
    Socket copy(client.socket);
    copy.close();
    copy.close();
    EXPECT_EQ(sendRaw(client.socket, textFrame(150)), CLSC_INVALID);
}

TEST(Socket, TellsWhyItCannotListen) {
    const ScriptedServer server([](Socket&) {}, "endpoint");
    const auto listen = [](const std::string& at) { return failureOf([&at] { Listener{at}; }); };
    EXPECT_EQ(listen(server.address), "EndPointException: clsclisten failed, port in use");
    EXPECT_EQ(listen("nonsense"), "IOException: clsclisten failed with ret 20");
}

TEST(ServerSocket, KnowsTheUserBehindAnAuthenticatedConnection) {
    const passwd* const entry = getpwuid(geteuid());
    const std::string self = entry == nullptr ? std::to_string(geteuid()) : entry->pw_name;
    const auto userBehind = [](const char* location) {
        std::string user;
        const auto ask = [&user](Socket& socket) {
            user = (socket.isAuthenticated() ? "+" : "-") + std::string(socket.getUsername());
        };
        const ScriptedServer server(ask, "endpoint", location);
        Client client(server.address);
        EXPECT_THROW(MessageStream(&client.socket).readMessage(), IOException);
        return user;
    };
    EXPECT_EQ(userBehind(nullptr), "-");
    EXPECT_EQ(userBehind("here"), "+" + self);
}

TEST(ServerSocket, AnswersNothingWhenNobodyConnects) {
    Listener listener(addressOf("endpoint"));
    Socket into;
    EXPECT_EQ(listener.socket.accept(&into, false), CLSC_NOTHING);
    const std::future<void> interrupter = interruptSoon(listener.socket);
    EXPECT_EQ(listener.socket.accept(&into, true), CLSC_NOTHING);
}

TEST(InetAddress, SplitsNamesAndShowsAddresses) {
    char bytes[] = {10, 1, '\xc8', 3};
    char* addresses[] = {bytes, nullptr};
    char name[] = "alpha.example.org";
    hostent entry{name, nullptr, AF_INET, 4, addresses};
    std::ostringstream out;
    out << InetAddress(&entry) << InetAddress(&entry).getDomain();
    EXPECT_EQ(out.str(), "InetAddress[alpha, 10.1.200.3]example.org");
    entry.h_addrtype = AF_INET6;
    EXPECT_EQ(InetAddress(&entry).getAddress(), nullptr);
}

TEST(Context, BoundsTraceTexts) {
    const LogSince log;
    std::string format = "%s-%d";
    const std::string text(2000, 'x');
    TAV::tavCbkTrace(nullptr, reinterpret_cast<unsigned char*>(format.data()), text.c_str(), 7);
    EXPECT_TRUE(log.has(" " + text.substr(0, 1023) + "\n"));
}
