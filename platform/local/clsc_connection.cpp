#include "platform/include/clsc.h"
#include "platform/local/clsc_handles.h"

#include <cstddef>
#include <span>

using namespace platform;

namespace {

int result_of(Transfer transfer) {
    switch (transfer) {
    case Transfer::done:
        return CLSC_OK;
    case Transfer::nothing:
        return CLSC_TIMEOUT;
    case Transfer::interrupted:
        return CLSC_INTERRUPTED;
    case Transfer::short_buffer:
        return CLSC_SHORTBUF;
    case Transfer::exhausted:
        return CLSC_FATAL;
    case Transfer::disconnected:
    case Transfer::broken:
    case Transfer::woken:
        break;
    }
    return CLSC_INVALID;
}

int connect(clscugblm& area, const clsc_address& address, clsccon** con, unsigned seconds,
            unsigned options) {
    const Deadline limit = Deadline::after(std::chrono::seconds(seconds));
    std::vector<SocketAddress> candidates;
    if (const int result = resolve(address, false, candidates); result != CLSC_OK) return result;

    const auto connection = std::make_shared<Connection>();
    if (!connection->open()) return CLSC_FATAL;
    connection->start_connecting(
        Connector(std::move(candidates), (options & CLSC_OPT_AUTH) != 0, limit));
    const bool asynchronous = (options & CLSC_OPT_ASYNC) != 0;
    const int result = connection->connect_until(asynchronous ? Deadline::after_ms(0) : limit);
    const bool under_way = asynchronous && result == CLSC_TIMEOUT && !connection->failed();
    if (result != CLSC_OK && !under_way) return result;
    *con = make_handle(area, connection);
    return CLSC_OK;
}

} // namespace

int clscconnect(clscugblm* area, const unsigned char* address, const unsigned char* /*address2*/,
                clsccon** con, unsigned, unsigned, unsigned, unsigned, unsigned seconds,
                unsigned options) {
    if (con == nullptr) return CLSC_FATAL;
    *con = nullptr;
    if (area == nullptr) return CLSC_FATAL;
    return guarded([&]() -> int {
        clsc_address decoded;
        if (const int result = decode_address(address, decoded); result != CLSC_OK) return result;
        return connect(*area, decoded, con, seconds, options);
    });
}

int clscwaitconnectcompl(clsccon* con, unsigned stepMs, unsigned /*flags*/) {
    return guarded([&]() -> int {
        const ConnectionPtr connection = connection_of(con);
        if (connection == nullptr || connection->wakeup().fired()) return CLSC_INVALID;
        const int result = connection->connect_until(Deadline::after_ms(stepMs));
        // "Not yet" is only for a connection that may still come about.
        return result == CLSC_TIMEOUT && connection->failed() ? CLSC_REFUSED : result;
    });
}

int clscsend(clsccon* con, const clscmsgh* message, unsigned length) {
    const ConnectionPtr connection = connection_of(con);
    MessageSocket* const socket = connection != nullptr ? connection->socket() : nullptr;
    if (socket == nullptr) return CLSC_INVALID;
    if (message == nullptr || length < CLSC_MIN_MESSAGE || length > CLSC_MAX_MESSAGE ||
        message->size_clscmsgh != length)
        return CLSC_FATAL;
    return result_of(
        socket->send(static_cast<const std::byte*>(static_cast<const void*>(message)), length));
}

int clscreceive(clsccon* con, clscmsgh* buffer, unsigned length, unsigned, unsigned,
                unsigned flags) {
    if (buffer == nullptr && length != 0) return CLSC_FATAL;
    return guarded([&]() -> int {
        const ConnectionPtr connection = connection_of(con);
        MessageSocket* const socket = connection != nullptr ? connection->socket() : nullptr;
        if (socket == nullptr) return CLSC_INVALID;
        return result_of(socket->receive(static_cast<std::byte*>(static_cast<void*>(buffer)),
                                         length, (flags & CLSC_MODE_WAIT) != 0));
    });
}
