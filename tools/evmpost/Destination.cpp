#include "tools/evmpost/Destination.h"

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <ctime>

namespace evmpost {

namespace {

class Daemon final : public Destination {
public:
    explicit Daemon(EvmConnection_t connection) : m_connection(connection) {}
    ~Daemon() override { EvmConnDestroy(m_connection); }
    Daemon(const Daemon&) = delete;
    Daemon& operator=(const Daemon&) = delete;

    EvmStatus_t take(EvmEvent_t event) override {
        const EvmStatus_t status = EvmEventPost(m_connection, event);
        if (status == EvmERROR_NONE || concernsTheEvent(status)) return status;
        throw DestinationError("the event was not posted: " + statusText(status), false);
    }

private:
    /// After any other failure the connection is of no use any more.
    static bool concernsTheEvent(EvmStatus_t status) {
        return status == EvmERROR_EVENT_REJECTED || status == EvmERROR_EVENT_NOT_VALID ||
               status == EvmERROR_NO_MEMORY;
    }

    EvmConnection_t m_connection;
};

class File final : public Destination {
public:
    File(std::string name, int fd) : m_name(std::move(name)), m_fd(fd) {}
    ~File() override {
        if (m_fd != STDOUT_FILENO) close(m_fd);
    }
    File(const File&) = delete;
    File& operator=(const File&) = delete;

    EvmStatus_t take(EvmEvent_t event) override {
        EvmStatus_t status = stamp(event);
        if (status != EvmERROR_NONE) return status;
        errno = 0;
        status = EvmEventWriteFD(m_fd, event);
        if (status == EvmERROR_NONE) return status;
        const std::string reason = errno != 0 ? std::strerror(errno) : statusText(status);
        throw DestinationError(m_name + ": " + reason, false);
    }

private:
    EvmStatus_t stamp(EvmEvent_t event) {
        EvmItemValue_t value{};
        const bool stamped = EvmItemGet(event, EvmITEM_TIMESTAMP, &value) == EvmERROR_NONE;
        if (stamped && !m_stamping) return EvmERROR_NONE;
        m_stamping = true; // an event that is used again gets the time of its next use
        return EvmItemSetu(event, EvmITEM_TIMESTAMP,
                           static_cast<std::uint64_t>(std::time(nullptr)));
    }

    const std::string m_name;
    const int m_fd;
    bool m_stamping = false;
};

} // namespace

std::unique_ptr<Destination> connectToDaemon(const std::string& address) {
    EvmTransport_t transport{};
    transport.type = EvmTRANSPORT_DOMAIN_SOCKET;
    transport.info.domainSocket.name = address.c_str();
    EvmConnection_t connection = nullptr;
    const EvmStatus_t status =
        EvmConnCreate(EvmCONNECTION_POST, EvmRESPONSE_WAIT, address.empty() ? nullptr : &transport,
                      nullptr, nullptr, &connection);
    if (status != EvmERROR_NONE)
        throw DestinationError("the event daemon cannot be reached: " + statusText(status),
                               status == EvmERROR_CONNECT);
    return std::make_unique<Daemon>(connection);
}

std::unique_ptr<Destination> openFile(const std::string& name) {
    if (name == "-") return std::make_unique<File>("standard output", STDOUT_FILENO);
    constexpr mode_t MODE = 0644;
    const int fd = open(name.c_str(), O_WRONLY | O_APPEND | O_CREAT | O_CLOEXEC, MODE);
    if (fd < 0) throw DestinationError(name + ": " + std::strerror(errno), false);
    return std::make_unique<File>(name, fd);
}

std::string statusText(EvmStatus_t status) {
    char text[256];
    if (EvmStatusTextGet(status, text, sizeof text) != EvmERROR_NONE)
        return "status " + std::to_string(static_cast<int>(status));
    return text;
}

} // namespace evmpost
