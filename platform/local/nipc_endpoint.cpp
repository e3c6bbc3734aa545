#include "platform/local/connector.h"
#include "platform/local/nipc_objects.h"

#include <poll.h>
#include <sys/socket.h>

#include <array>
#include <new>

using namespace platform;

namespace {

/// Room up to this size is kept from message to message.
constexpr std::uint32_t KEPT_CAPACITY = 64 * 1024;

nipc_result result_of_connecting(int result) {
    switch (result) {
    case CLSC_OK:
        return NIPC_OK;
    case CLSC_FATAL:
        return NIPC_NO_MEMORY;
    case CLSC_INUSE:
        return NIPC_IN_USE;
    case CLSC_TIMEOUT:
        return NIPC_TIMEOUT;
    default:
        return NIPC_FAILED;
    }
}

std::uint32_t announced_size(const std::byte* message) {
    std::uint32_t size = 0;
    for (unsigned byte = 0; byte < sizeof size; ++byte)
        size |= std::to_integer<std::uint32_t>(message[byte]) << (8 * byte);
    return size;
}

} // namespace

namespace platform {

std::byte* MessageBuffer::prepare(std::uint32_t size) {
    if (size <= m_capacity) return m_bytes.get();
    m_capacity = 0;
    m_bytes.reset(new (std::nothrow) std::byte[size]);
    if (m_bytes != nullptr) m_capacity = size;
    return m_bytes.get();
}

void MessageBuffer::clear() {
    m_size = 0;
    if (m_capacity <= KEPT_CAPACITY) return;
    m_bytes.reset();
    m_capacity = 0;
}

} // namespace platform

nipc_result nipcEndp::open(const char* name, unsigned options) {
    m_options = options;
    m_named = name != nullptr;
    if (m_named && !clsc_parse_address(name, m_address)) return NIPC_FAILED;
    if ((options & NIPC_OPTION_LISTEN) != 0 && !m_named) return NIPC_FAILED;
    return m_posted.open() ? NIPC_OK : NIPC_NO_MEMORY;
}

MessageSocket* nipcEndp::socket() {
    return m_connected.load(std::memory_order_acquire) ? &*m_socket : nullptr;
}

int nipcEndp::connected_descriptor() {
    MessageSocket* const connected = socket();
    return connected != nullptr ? connected->descriptor() : -1;
}

int nipcEndp::descriptor() {
    return m_listening.load(std::memory_order_acquire) ? m_listener->descriptor()
                                                       : connected_descriptor();
}

nipc_result nipcEndp::attach(Descriptor connected) {
    m_socket.emplace(std::move(connected), m_closed, configured_message_time());
    m_connected.store(true, std::memory_order_release);
    // Whoever disconnected meanwhile saw no socket to shut down.
    return m_closed.fired() ? NIPC_CLOSED : NIPC_OK;
}

nipc_result nipcEndp::connect(const nipcAddr& address) {
    if (m_closed.fired()) return NIPC_CLOSED;
    if (m_connected || (m_options & NIPC_OPTION_LISTEN) != 0) return NIPC_FAILED;
    const Deadline limit = Deadline::after(configured_message_time());
    Connector connector(address.candidates, (m_options & NIPC_OPTION_AUTHENTICATED) != 0, limit);
    bool posted = false;
    int result = connector.advance(limit, m_posted);
    while (result == CLSC_INVALID && !m_closed.fired()) {
        m_posted.rearm();
        posted = true;
        result = connector.advance(limit, m_posted);
    }
    if (posted) m_posted.fire(); // it was meant for a wait
    if (m_closed.fired()) return NIPC_CLOSED;
    return result == CLSC_OK ? attach(connector.take()) : result_of_connecting(result);
}

nipc_result nipcEndp::listen() {
    if (m_closed.fired()) return NIPC_CLOSED;
    if (m_listening || (m_options & NIPC_OPTION_LISTEN) == 0) return NIPC_FAILED;
    const nipc_result result = result_of_connecting(Listener::open(m_address, m_listener));
    if (result == NIPC_OK) m_listening.store(true, std::memory_order_release);
    return result;
}

nipc_result nipcEndp::accept(std::unique_ptr<nipcEndp>& made) {
    if (m_closed.fired()) return NIPC_CLOSED;
    if (!m_listening) return NIPC_FAILED;
    made = std::make_unique<nipcEndp>();
    bool opened = made->open(nullptr, 0) == NIPC_OK;
    while (!opened && m_listener->pause_for_resources()) opened = made->open(nullptr, 0) == NIPC_OK;
    Descriptor connected;
    const int result = opened ? m_listener->accept(true, connected) : CLSC_NOTHING;
    if (result == CLSC_OK) return made->attach(std::move(connected));
    if (m_closed.fired()) return NIPC_CLOSED;
    if (result != CLSC_NOTHING) return result_of_connecting(result);
    m_listener->wakeup().rearm();
    return NIPC_POSTED;
}

nipc_result nipcEndp::disconnect() {
    if (m_closed.fired()) return NIPC_CLOSED;
    m_closed.fire();
    m_posted.fire();
    if (m_listening.load(std::memory_order_acquire)) m_listener->retire();
    if (const int fd = connected_descriptor(); fd >= 0) shutdown(fd, SHUT_RDWR);
    return NIPC_OK;
}

nipc_result nipcEndp::send(const void* message, std::size_t length) {
    MessageSocket* const connected = socket();
    if (m_closed.fired()) return NIPC_CLOSED;
    if (connected == nullptr || message == nullptr || length < NIPC_MIN_MESSAGE ||
        length > NIPC_MAX_MESSAGE)
        return NIPC_FAILED;
    const auto* const bytes = static_cast<const std::byte*>(message);
    return announced_size(bytes) == length ? result_of(connected->send(bytes, length))
                                           : NIPC_FAILED;
}

nipc_result nipcEndp::wait(int timeout_ms, nipcReqInfo& info) {
    if (!m_connected) return NIPC_FAILED;
    const bool endless = timeout_ms < 0;
    const Deadline deadline =
        endless ? Deadline::never() : Deadline::after(std::chrono::milliseconds(timeout_ms));
    while (!m_closed.fired()) {
        nipc_result result = receive(info);
        if (result != NIPC_TIMEOUT) return result;
        // A check, which posts and polls are many of, needs no further call to the system.
        if (timeout_ms == 0 && !m_posted.fired()) return NIPC_TIMEOUT;
        result = await(deadline);
        if (result != NIPC_OK) return result;
    }
    return NIPC_CLOSED;
}

/// Waits for input, without keeping other threads from receiving.
nipc_result nipcEndp::await(const Deadline& deadline) {
    switch (wait_for(connected_descriptor(), POLLIN, m_posted, deadline)) {
    case Wait::ready:
    case Wait::interrupted:
        return NIPC_OK;
    case Wait::timed_out:
        return NIPC_TIMEOUT;
    case Wait::woken:
        if (m_closed.fired()) return NIPC_CLOSED;
        m_posted.rearm();
        return NIPC_POSTED;
    case Wait::failed:
        break;
    }
    return NIPC_NO_MEMORY;
}

/// Tells of the message that is here or takes one whose beginning has come; NIPC_TIMEOUT when there
/// is neither.
nipc_result nipcEndp::receive(nipcReqInfo& info) {
    const std::lock_guard lock(m_receiving);
    nipc_result result = m_refused ? NIPC_LOST : NIPC_OK;
    if (result == NIPC_OK && !m_message.holds_message()) {
        std::array<std::byte, NIPC_MIN_MESSAGE> header;
        const Transfer beginning = m_socket->receive(header.data(), header.size(), false);
        const bool begun = beginning == Transfer::done || beginning == Transfer::short_buffer;
        result = begun ? receive_whole(announced_size(header.data())) : result_of(beginning);
        if (beginning == Transfer::done && result == NIPC_OK)
            std::copy(header.begin(), header.end(), m_message.data());
    }
    if (result != NIPC_OK) return result;
    info.buffer = m_message.data();
    info.length = m_message.size();
    return NIPC_OK;
}

/// Takes the message of which the socket delivered a header; one that is no longer is all here.
nipc_result nipcEndp::receive_whole(std::uint32_t size) {
    if (size > m_longest) {
        m_refused = true;
        shutdown(m_socket->descriptor(), SHUT_RDWR);
        return NIPC_LOST;
    }
    std::byte* const room = m_message.prepare(size);
    if (room == nullptr) return NIPC_NO_MEMORY;
    const Transfer rest =
        size > NIPC_MIN_MESSAGE ? m_socket->receive(room, size, true) : Transfer::done;
    if (rest == Transfer::done) m_message.fill(size);
    return result_of(rest);
}

nipc_result nipcEndp::result_of(Transfer transfer) const {
    switch (transfer) {
    case Transfer::done:
        return NIPC_OK;
    case Transfer::nothing:
    case Transfer::interrupted:
        return NIPC_TIMEOUT;
    case Transfer::exhausted:
        return NIPC_NO_MEMORY;
    case Transfer::woken:
        return NIPC_CLOSED;
    case Transfer::disconnected:
        return m_closed.fired() ? NIPC_CLOSED : NIPC_DISCONNECTED;
    case Transfer::short_buffer:
    case Transfer::broken:
        break;
    }
    return m_closed.fired() ? NIPC_CLOSED : NIPC_LOST;
}

nipc_result nipcEndp::release(const void* buffer) {
    const std::lock_guard lock(m_receiving);
    if (!m_message.holds_message() || buffer != m_message.data()) return NIPC_FAILED;
    m_message.clear();
    return NIPC_OK;
}

nipc_result nipcEndp::post() {
    if (m_closed.fired()) return NIPC_CLOSED;
    if (m_listening.load(std::memory_order_acquire))
        m_listener->wakeup().fire();
    else
        m_posted.fire();
    return NIPC_OK;
}

nipc_result nipcEndp::limit(std::uint32_t longest) {
    if (longest < NIPC_MIN_MESSAGE || longest > NIPC_MAX_MESSAGE) return NIPC_FAILED;
    const std::lock_guard lock(m_receiving);
    m_longest = longest;
    return NIPC_OK;
}
