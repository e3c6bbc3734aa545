#include "platform/local/message_socket.h"

#include "platform/include/clsc.h"
#include "platform/include/node_config.h"

#include <poll.h>
#include <sys/socket.h>

#include <algorithm>
#include <cstring>

namespace platform {

static_assert(EAGAIN == EWOULDBLOCK, "this system has one number for both");

namespace {

constexpr std::size_t SIZE_FIELD = 4;

bool is_exhaustion(int error) {
    return error == ENOMEM || error == ENOBUFS;
}

} // namespace

std::chrono::milliseconds configured_message_time() {
    const node_config* const config = node_config_get();
    return std::chrono::seconds((config != nullptr ? *config : node_config()).message_time_s);
}

MessageSocket::MessageSocket(Descriptor socket, const Wakeup& wakeup,
                             std::chrono::milliseconds message_time)
    : m_socket(std::move(socket)), m_wakeup(wakeup), m_message_time(message_time) {}

bool MessageSocket::has_input() const {
    return m_has_kept.load(std::memory_order_acquire) || m_broken.load(std::memory_order_acquire);
}

Transfer MessageSocket::break_off() {
    m_broken.store(true, std::memory_order_release);
    shutdown(m_socket.get(), SHUT_RDWR);
    return Transfer::broken;
}

Transfer MessageSocket::send(const std::byte* message, std::size_t length) {
    const Deadline deadline = Deadline::after(m_message_time);
    std::size_t left = length;
    while (left != 0) {
        if (m_broken.load(std::memory_order_acquire)) return Transfer::broken;
        Transfer result = send_some(message, left);
        if (result == Transfer::nothing) result = await_room(deadline);
        if (result == Transfer::done) continue;
        // What follows half a message could not be understood.
        if (left != length) break_off();
        return result;
    }
    return Transfer::done;
}

Transfer MessageSocket::send_some(const std::byte*& data, std::size_t& left) {
    if (m_wakeup.fired()) return Transfer::woken;
    const ssize_t count = ::send(m_socket.get(), data, left, MSG_NOSIGNAL | MSG_DONTWAIT);
    if (count >= 0) {
        data += count;
        left -= static_cast<std::size_t>(count);
        return Transfer::done;
    }
    if (errno == EINTR) return Transfer::done;
    if (errno == EAGAIN) return Transfer::nothing;
    return is_exhaustion(errno) ? Transfer::exhausted : Transfer::disconnected;
}

Transfer MessageSocket::await_room(const Deadline& deadline) {
    switch (wait_for(m_socket.get(), POLLOUT, m_wakeup, deadline)) {
    case Wait::ready:
    case Wait::interrupted:
        return Transfer::done;
    case Wait::woken:
        return Transfer::woken;
    case Wait::timed_out:
        return break_off();
    case Wait::failed:
        break;
    }
    return Transfer::exhausted;
}

Transfer MessageSocket::receive(std::byte* buffer, std::size_t length, bool wait) {
    if (!m_kept.empty()) m_deadline = Deadline::after(m_time_left);
    if (const Transfer result = receive_beginning(wait); result != Transfer::done) return result;

    const std::size_t size = announced_size();
    const std::size_t wanted = std::min(length, size);
    const std::size_t known = std::min(m_kept.size(), wanted);
    if (wanted < size) m_kept.reserve(wanted); // before bytes are taken that it must hold
    if (known != 0) std::memcpy(buffer, m_kept.data(), known);
    if (const Transfer result = receive_rest(buffer + known, wanted - known);
        result != Transfer::done)
        return result;

    if (wanted < size) {
        m_kept.insert(m_kept.end(), buffer + known, buffer + wanted);
        m_time_left = m_deadline.remaining();
    } else {
        m_kept.clear();
    }
    m_has_kept.store(!m_kept.empty(), std::memory_order_release);
    return wanted < size ? Transfer::short_buffer : Transfer::done;
}

/// Reads up to the end of a message's header: no message is shorter, so nothing of the next one is
/// taken. A size that cannot be is told without waiting for the rest of the header.
Transfer MessageSocket::receive_beginning(bool wait) {
    std::array<std::byte, CLSC_MIN_MESSAGE> header;
    while (m_kept.size() < header.size()) {
        std::size_t count = 0;
        const Transfer result =
            receive_some(header.data(), header.size() - m_kept.size(), wait, count);
        if (result != Transfer::done) return result;
        if (m_kept.empty()) m_deadline = Deadline::after(m_message_time);
        m_kept.insert(m_kept.end(), header.data(), header.data() + count);
        if (!plausible_beginning()) return break_off();
    }
    return m_broken.load(std::memory_order_acquire) ? Transfer::broken : Transfer::done;
}

Transfer MessageSocket::receive_rest(std::byte* into, std::size_t length) {
    while (length != 0) {
        std::size_t count = 0;
        const Transfer result = receive_some(into, length, true, count);
        if (result != Transfer::done) return result;
        into += count;
        length -= count;
    }
    return Transfer::done;
}

Transfer MessageSocket::receive_some(std::byte* into, std::size_t room, bool wait,
                                     std::size_t& count) {
    while (true) {
        if (m_wakeup.fired()) return Transfer::woken;
        if (m_broken.load(std::memory_order_acquire)) return Transfer::broken;
        const ssize_t got = recv(m_socket.get(), into, room, MSG_DONTWAIT);
        if (got > 0) {
            count = static_cast<std::size_t>(got);
            return Transfer::done;
        }
        if (got == 0) return m_kept.empty() ? Transfer::disconnected : break_off();
        if (errno == EAGAIN) {
            const Transfer result = await_input(wait);
            if (result != Transfer::done) return result;
        } else if (errno != EINTR) {
            const bool exhausted = is_exhaustion(errno);
            break_off();
            return exhausted ? Transfer::exhausted : Transfer::broken;
        }
    }
}

Transfer MessageSocket::await_input(bool wait) {
    const bool begun = !m_kept.empty();
    if (!begun && !wait) return Transfer::nothing;
    const Deadline deadline = begun ? m_deadline : Deadline::never();
    switch (wait_for(m_socket.get(), POLLIN, m_wakeup, deadline)) {
    case Wait::ready:
        return Transfer::done;
    case Wait::interrupted:
        // Inside a message the caller's buffer holds bytes that a new call would not know of.
        return begun ? Transfer::done : Transfer::interrupted;
    case Wait::woken:
        return Transfer::woken;
    case Wait::timed_out:
        return break_off();
    case Wait::failed:
        break;
    }
    break_off();
    return Transfer::exhausted;
}

std::uint32_t MessageSocket::announced_size() const {
    std::uint32_t size = 0;
    for (std::size_t i = 0; i < SIZE_FIELD; ++i)
        size |= std::to_integer<std::uint32_t>(m_kept[i]) << (8 * i);
    return size;
}

bool MessageSocket::plausible_beginning() const {
    if (m_kept.size() < SIZE_FIELD) return true;
    const std::uint32_t size = announced_size();
    return size >= CLSC_MIN_MESSAGE && size <= CLSC_MAX_MESSAGE;
}

} // namespace platform
