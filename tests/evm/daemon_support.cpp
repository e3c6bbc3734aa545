#include "tests/evm/daemon_support.h"

#include "evm/libevm/exchange.h"

#include <sys/socket.h>
#include <sys/un.h>

namespace {

bool readBytes(int fd, std::span<std::byte> bytes) {
    return recv(fd, bytes.data(), bytes.size(), MSG_WAITALL) == std::ssize(bytes);
}

} // namespace

RecordBytes DaemonEnd::read() {
    RecordBytes message(4);
    if (!readBytes(m_fd, message)) return {};
    message.resize(evm::load<std::uint32_t>(message, 0));
    if (message.size() < 48 || !readBytes(m_fd, std::span(message).subspan(4))) return {};
    return message;
}

void DaemonEnd::send(evm::Bytes bytes) {
    // A client that has hung up is no fault of the script's.
    static_cast<void>(::send(m_fd, bytes.data(), bytes.size(), MSG_NOSIGNAL));
}

void DaemonEnd::answer(std::uint32_t type, std::uint32_t flags, std::uint64_t data,
                       std::uint32_t bodySize) {
    send(evm::encodeHeader(static_cast<EvmCommType_t>(type), flags, data, bodySize, SESSION));
}

void DaemonEnd::sendMessage(evm::Bytes contents) {
    RecordBytes message(sizeof(EvmCommunicationHeader_t));
    message.insert(message.end(), contents.begin(), contents.end());
    evm::_evmHeaderFill(message);
    send(message);
}

void DaemonEnd::welcome() {
    read();
    read();
    answer(EvmCOMM_CONNECT_RSP);
}

bool DaemonEnd::answerPost(std::uint32_t flags, EvmEvent_t* event) {
    const RecordBytes header = read();
    EvmCommHead_t head{};
    if (evm::decodeHeader(header, head) != EvmERROR_NONE || head.type != EvmCOMM_POST_REQ)
        return false;
    Event own;
    EXPECT_EQ(evm::_evmEventWrap(read(), event == nullptr ? own.out() : event), EvmERROR_NONE);
    answer(EvmCOMM_POST_RSP, flags, head.headerData);
    return true;
}

void DaemonEnd::drain() {
    while (!read().empty()) {
    }
}

ScriptedDaemon::ScriptedDaemon(Script script, int connections)
    : m_path(test_folder() + "/run/SYSTEM.evm.acceptor.auth") {
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    m_path.copy(address.sun_path, sizeof address.sun_path - 1);
    m_listener = socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
    const void* const any = &address;
    EXPECT_EQ(bind(m_listener, static_cast<const sockaddr*>(any), sizeof address), 0);
    EXPECT_EQ(listen(m_listener, 8), 0);
    m_thread = std::thread([this, script = std::move(script), connections] {
        for (int left = connections; left > 0; --left) {
            const int fd = accept4(m_listener, nullptr, nullptr, SOCK_CLOEXEC);
            if (fd < 0) return;
            DaemonEnd end(fd);
            script(end);
            close(fd);
        }
    });
}

ScriptedDaemon::~ScriptedDaemon() {
    unlink(m_path.c_str());
    shutdown(m_listener, SHUT_RDWR);
    m_thread.join();
    close(m_listener);
}
