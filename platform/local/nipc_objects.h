#pragma once

#include "platform/include/nipc.h"
#include "platform/local/listener.h"
#include "platform/local/message_socket.h"
#include "platform/local/socket_address.h"

#include <atomic>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <vector>

/// What stands behind the NIPC objects: the parts that CLSC's handles are made of, put together for
/// one message at a time.

struct nipcCtx final : nipcObj {};

struct nipcAddr final : nipcObj {
    std::vector<platform::SocketAddress> candidates;
    std::string text; ///< as it was given
};

namespace platform {

/// The received message that a caller has not given back yet.
class MessageBuffer {
public:
    /// Room for a message; null without memory. Bytes that never come take no memory.
    std::byte* prepare(std::uint32_t size);
    void fill(std::uint32_t size) { m_size = size; }
    void clear();

    [[nodiscard]] bool holds_message() const { return m_size != 0; }
    [[nodiscard]] std::byte* data() const { return m_bytes.get(); }
    [[nodiscard]] std::uint32_t size() const { return m_size; }

private:
    std::unique_ptr<std::byte[]> m_bytes;
    std::uint32_t m_capacity = 0;
    std::uint32_t m_size = 0;
};

} // namespace platform

struct nipcEndp final : nipcObj {
public:
    /// A null name is none. NIPC_NO_MEMORY without descriptors, NIPC_FAILED for a bad name.
    nipc_result open(const char* name, unsigned options);
    ~nipcEndp() override { disconnect(); }

    nipc_result connect(const nipcAddr& address);
    nipc_result listen();
    nipc_result accept(std::unique_ptr<nipcEndp>& made);
    nipc_result disconnect();
    nipc_result send(const void* message, std::size_t length);
    nipc_result wait(int timeout_ms, nipcReqInfo& info);
    nipc_result release(const void* buffer);
    nipc_result post();
    nipc_result limit(std::uint32_t longest);

    /// The socket behind it, -1 while there is none; and the connected one alone.
    [[nodiscard]] int descriptor();
    [[nodiscard]] int connected_descriptor();

private:
    platform::MessageSocket* socket();
    nipc_result attach(platform::Descriptor socket);
    nipc_result receive(nipcReqInfo& info);
    nipc_result receive_whole(std::uint32_t size);
    nipc_result await(const platform::Deadline& deadline);
    nipc_result result_of(platform::Transfer transfer) const;

    unsigned m_options = 0;
    clsc_address m_address; ///< of a listening endpoint
    bool m_named = false;

    platform::Wakeup m_posted;
    /// Never opened: it is only seen by what the shut-down socket woke up.
    platform::Wakeup m_closed;
    std::shared_ptr<platform::Listener> m_listener;
    std::optional<platform::MessageSocket> m_socket;
    std::atomic<bool> m_listening{false};
    std::atomic<bool> m_connected{false};

    std::mutex m_receiving; ///< guards what follows
    platform::MessageBuffer m_message;
    std::uint32_t m_longest = NIPC_MAX_MESSAGE;
    bool m_refused = false; ///< a message was longer: what follows cannot be understood
};
