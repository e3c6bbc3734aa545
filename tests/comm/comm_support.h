#pragma once

#include "tav/comm/CommException.h"
#include "tav/comm/Connection.h"
#include "tav/comm/Container.h"
#include "tav/comm/MessageStream.h"
#include "tav/comm/ServerSocket.h"
#include "tav/comm/Socket.h"

#include <chrono>
#include <cstdint>
#include <functional>
#include <future>
#include <memory>
#include <string>
#include <string_view>
#include <thread>
#include <vector>

/// The node that this test program runs as, "testnode", has its folders in a temporary one, its
/// communication log switched on, and a message time and a recovery time of 1 second.

using Bytes = std::vector<unsigned char>;

/// Lines of the communication log written since the object was made.
class LogSince {
public:
    LogSince();
    /// Whether a line begins so.
    [[nodiscard]] bool has(const std::string& beginning) const { return count(beginning) > 0; }
    /// How many lines begin so.
    [[nodiscard]] std::size_t count(const std::string& beginning) const;

private:
    std::size_t m_start;
};

/// Pieces of a body, and a frame around one whose body length may lie.
std::string ub4(std::uint32_t value);
std::string str(std::string_view text);
std::string emptyContainer();
/// Containers that are each the only child of the one before.
std::string chain(std::size_t levels);
Bytes lyingFrame(std::string_view body, std::string_view type, std::uint32_t bodyLength);
inline Bytes frame(std::string_view body, std::string_view type = "Container") {
    return lyingFrame(body, type, static_cast<std::uint32_t>(body.size()));
}

inline Bytes encode(const TAV::Message& message) {
    return TAV::MessageStream().encode(message);
}
/// A stream over a block of exactly the frame's size.
std::unique_ptr<TAV::MessageStream> streamOver(const Bytes& frame);
inline std::unique_ptr<TAV::Message> decode(const Bytes& frame) {
    return std::unique_ptr<TAV::Message>(streamOver(frame)->readMessage());
}

/// The kind and the first line of the exception that `body` throws; empty when it throws none.
std::string failureOf(const std::function<void()>& body);
inline std::string failureOf(const Bytes& frame) {
    return failureOf([&frame] { static_cast<void>(decode(frame)); });
}

/// Runs `body` on a thread with a stack of 64 KiB.
void onSmallStack(std::function<void()> body);

clscugblm* testArea();
std::string addressOf(const std::string& key);
int sendRaw(TAV::Socket& socket, Bytes bytes);

/// Endpoints of this test's area, closed with the object.
struct Client {
    explicit Client(std::string address);
    ~Client() { socket.release(); }

    TAV::Socket socket;
};
struct Listener {
    explicit Listener(std::string address, const char* authLocation = nullptr);
    ~Listener() { socket.close(); }

    TAV::ServerSocket socket;
};

/// Answers connections to an endpoint (a key or a connect string), one after the other, with
/// `script` on another thread. A script that fails ends its connection only.
class ScriptedServer {
    Listener m_listener;

public:
    using Script = std::function<void(TAV::Socket&)>;
    explicit ScriptedServer(Script script, const std::string& key = "VORND_UI_SOCKET.testnode",
                            const char* authLocation = nullptr);
    ~ScriptedServer() { m_listener.socket.interruptConnection(); }

    const std::string address;

private:
    std::future<void> m_thread; ///< waited for
};

/// Keeps the orders it is given.
struct Recorder : TAV::OrderHandler {
    void handleOrder(const std::string& message, unsigned int waitSeconds) override {
        orders += message + "/" + std::to_string(waitSeconds) + " ";
    }
    std::string orders;
};

/// Interrupts a socket or a listener from another thread a moment later; the result waits for it.
template <class Endpoint>
[[nodiscard]] std::future<void> interruptSoon(Endpoint& endpoint) {
    return std::async(std::launch::async, [&endpoint] {
        std::this_thread::sleep_for(std::chrono::milliseconds(50));
        endpoint.interruptConnection();
    });
}
