#pragma once

#include "platform/local/wakeup.h"

#include <array>
#include <atomic>
#include <chrono>
#include <cstddef>
#include <cstdint>
#include <vector>

namespace platform {

/// What became of a message. Everything from `disconnected` on is final: the socket carries no
/// further message.
enum class Transfer {
    done,
    nothing,      ///< nothing has come, and the caller did not want to wait
    interrupted,  ///< a signal came before anything of the message
    short_buffer, ///< the beginning was delivered, the whole message kept
    exhausted,    ///< the system is out of memory
    disconnected, ///< the peer ended between messages
    broken,       ///< ended inside a message, took too long, or sent a size that cannot be
    woken,        ///< the wake-up was fired
};

/// node.conf's `message_time`, its default without a usable file.
std::chrono::milliseconds configured_message_time();

/// Whole messages over a connected stream socket: the first 4 bytes of a message, little-endian,
/// are its whole length.
///
/// One thread at a time sends and one receives; `has_input` may be asked by any. Of a message only
/// the beginning that a short buffer asked for is kept here, so a long one arrives straight in the
/// caller's buffer. Once a message has begun, the time spent waiting for the rest of it is limited;
/// a peer that exceeds it has broken the connection, and so has one that does not take what is sent
/// to it within the same time.
class MessageSocket {
public:
    /// `wakeup` outlives the socket. The socket is used without blocking, whatever its mode.
    MessageSocket(Descriptor socket, const Wakeup& wakeup, std::chrono::milliseconds message_time);

    Transfer send(const std::byte* message, std::size_t length);
    Transfer receive(std::byte* buffer, std::size_t length, bool wait);

    /// True when the beginning of a message is kept or the socket is broken: a receive then ends
    /// without waiting for the descriptor to have input first.
    [[nodiscard]] bool has_input() const;
    [[nodiscard]] int descriptor() const { return m_socket.get(); }

private:
    Transfer receive_beginning(bool wait);
    Transfer receive_rest(std::byte* into, std::size_t length);
    Transfer receive_some(std::byte* into, std::size_t room, bool wait, std::size_t& count);
    Transfer await_input(bool wait);
    Transfer send_some(const std::byte*& data, std::size_t& left);
    Transfer await_room(const Deadline& deadline);
    [[nodiscard]] std::uint32_t announced_size() const;
    [[nodiscard]] bool plausible_beginning() const;
    Transfer break_off();

    const Descriptor m_socket;
    const Wakeup& m_wakeup;
    const std::chrono::milliseconds m_message_time;

    std::vector<std::byte> m_kept; ///< beginning of the message under way
    Deadline m_deadline = Deadline::never();
    std::chrono::milliseconds m_time_left{0}; ///< of m_message_time, while no receive runs
    std::atomic<bool> m_has_kept{false};
    std::atomic<bool> m_broken{false};
};

} // namespace platform
