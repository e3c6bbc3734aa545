#pragma once

#include "evm/libevm/protocol.h"
#include "tests/evm/evm_support.h"

/// The daemon's end of one connection, as bytes on a bare socket.
class DaemonEnd {
public:
    explicit DaemonEnd(int fd) : m_fd(fd) {}

    /// The next message, empty when there is none any more.
    RecordBytes read();
    void send(evm::Bytes bytes);
    /// A protocol header.
    void answer(std::uint32_t type, std::uint32_t flags = 0, std::uint64_t data = 0,
                std::uint32_t bodySize = 0);
    /// A message around some bytes.
    void sendMessage(evm::Bytes contents);
    /// Reads a connect request and accepts it.
    void welcome();
    /// Reads a post's header and record, which `event` gets, and answers it; false when there was
    /// none.
    bool answerPost(std::uint32_t flags = 0, EvmEvent_t* event = nullptr);
    /// Until the client has gone.
    void drain();

    static constexpr std::uint32_t SESSION = 77;

private:
    int m_fd;
};

/// A daemon that does what a test tells it, at the default address. It serves one connection after
/// the other, and hangs up when the script ends.
class ScriptedDaemon {
public:
    using Script = std::function<void(DaemonEnd&)>;

    explicit ScriptedDaemon(Script script, int connections = 1);
    /// Waits for the script's end.
    ~ScriptedDaemon();
    ScriptedDaemon(const ScriptedDaemon&) = delete;
    ScriptedDaemon& operator=(const ScriptedDaemon&) = delete;

private:
    int m_listener = -1;
    std::string m_path;
    std::thread m_thread;
};

/// One that accepts its client first and stays until that has gone.
class WelcomingDaemon : ScriptedDaemon {
public:
    explicit WelcomingDaemon(
        Script script = [](DaemonEnd&) {}, int connections = 1)
        : ScriptedDaemon(
              [script = std::move(script)](DaemonEnd& end) {
                  end.welcome();
                  script(end);
                  end.drain();
              },
              connections) {}
};

/// Owns a connection for a test.
class Connected {
public:
    explicit Connected(EvmResponseMode_t mode = EvmRESPONSE_WAIT, EvmCallback_t callback = nullptr,
                       void* argument = nullptr, EvmConnectionType_t type = EvmCONNECTION_POST)
        : status(EvmConnCreate(type, mode, nullptr, callback, argument, &m_connection)) {}
    ~Connected() {
        if (m_connection != nullptr) EvmConnDestroy(m_connection);
    }
    Connected(const Connected&) = delete;
    Connected& operator=(const Connected&) = delete;

    operator EvmConnection_t() const { return m_connection; }
    EvmConnection_t release() { return std::exchange(m_connection, nullptr); }

private:
    EvmConnection_t m_connection = nullptr;

public:
    const EvmStatus_t status;
};
