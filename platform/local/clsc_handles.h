#pragma once

#include "platform/include/clsc.h"
#include "platform/local/connector.h"
#include "platform/local/listener.h"
#include "platform/local/message_socket.h"

#include <atomic>
#include <list>
#include <memory>
#include <mutex>
#include <new>
#include <optional>
#include <unordered_map>
#include <vector>

/// What stands behind the layer's handles, and who keeps what alive.
///
/// A handle (clsccon) belongs to its area and shares the connection or listener behind it with
/// whatever is using it at the moment. clscdisc takes that away from the handle and fires the
/// wake-up; the descriptors close when the last user lets go, so none is closed, and its number
/// reused, under an operation that is blocked on it.

namespace platform {

/// One connection, from the first attempt to connect on.
class Connection {
public:
    /// False when there is no descriptor left.
    bool open() { return m_wakeup.open(); }
    Wakeup& wakeup() { return m_wakeup; }

    void start_connecting(Connector connector) { m_connector.emplace(std::move(connector)); }
    /// Goes on connecting until `until`: see Connector::advance.
    int connect_until(const Deadline& until);
    /// Takes over a connected socket.
    void attach(Descriptor socket);
    /// True when connecting ended without a connection.
    [[nodiscard]] bool failed() const { return m_connector && m_connector->failed(); }

    /// The connected socket; null before.
    MessageSocket* socket() {
        return m_connected.load(std::memory_order_acquire) ? &*m_socket : nullptr;
    }

private:
    friend class ConnectionTable;

    Wakeup m_wakeup;
    std::optional<Connector> m_connector;
    std::optional<MessageSocket> m_socket;
    std::atomic<bool> m_connected{false};

    std::uint64_t m_thread = 0; ///< whose connection it is; guarded by its area
    std::size_t m_index = 0;    ///< its place among that thread's; guarded by its area
};

using ConnectionPtr = std::shared_ptr<Connection>;

/// The connections of an area by the thread that made them, so that waiting for a thread's own
/// looks at no other. Not locked itself.
class ConnectionTable {
public:
    void add(const ConnectionPtr& connection);
    void remove(const Connection& connection);
    /// The calling thread's.
    [[nodiscard]] std::vector<ConnectionPtr> own() const;

private:
    std::unordered_map<std::uint64_t, std::vector<ConnectionPtr>> m_by_thread;
};

/// Runs an operation of the layer; lack of memory is its fatal error.
template <class Operation>
int guarded(Operation operation) {
    try {
        return operation();
    } catch (const std::bad_alloc&) {
        return CLSC_FATAL;
    }
}

} // namespace platform

struct clscctx {
    unsigned flags = 0;
};

struct clsccon {
    clscugblm* area = nullptr;
    std::list<clsccon>::iterator self;
    std::mutex mutex; ///< guards the pointers below, one of which is set until clscdisc
    platform::ConnectionPtr connection;
    std::shared_ptr<platform::Listener> listener;
};

struct clscugblm {
    std::mutex mutex;
    std::list<clsccon> handles;
    platform::ConnectionTable connections;
};

namespace platform {

/// New handles. The calling thread becomes a connection's owner.
clsccon* make_handle(clscugblm& area, ConnectionPtr connection);
clsccon* make_handle(clscugblm& area, std::shared_ptr<Listener> listener);

/// What is behind a handle; null for a null or disconnected handle or the other kind.
ConnectionPtr connection_of(clsccon* handle);
std::shared_ptr<Listener> listener_of(clsccon* handle);

} // namespace platform
