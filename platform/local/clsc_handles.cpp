#include "platform/local/clsc_handles.h"

#include "platform/include/immortal.h"

#include <algorithm>

namespace platform {

namespace {

/// Contexts and areas, all of them until the process ends.
struct Process {
    std::mutex mutex;
    std::list<clscctx> contexts;
    std::list<clscugblm> areas;
};

Process& process() {
    static Immortal<Process> instance;
    return *instance;
}

/// Tells threads apart for the whole life of the process, unlike the system's thread identifiers.
std::uint64_t thread_number() {
    static std::atomic<std::uint64_t> last{0};
    thread_local const std::uint64_t own = ++last;
    return own;
}

/// A handle in a list of its own: joining the area's then cannot fail.
std::list<clsccon> new_handle(clscugblm& area) {
    std::list<clsccon> made(1);
    made.front().area = &area;
    made.front().self = made.begin();
    return made;
}

} // namespace

int Connection::connect_until(const Deadline& until) {
    if (m_connected.load(std::memory_order_acquire)) return CLSC_OK;
    if (!m_connector) return CLSC_INVALID;
    const int result = m_connector->advance(until, m_wakeup);
    if (result == CLSC_OK) {
        attach(m_connector->take());
        m_connector.reset();
    }
    return result;
}

void Connection::attach(Descriptor socket) {
    m_socket.emplace(std::move(socket), m_wakeup, configured_message_time());
    m_connected.store(true, std::memory_order_release);
}

void ConnectionTable::add(const ConnectionPtr& connection) {
    connection->m_thread = thread_number();
    std::vector<ConnectionPtr>& own = m_by_thread[connection->m_thread];
    connection->m_index = own.size();
    own.push_back(connection);
}

void ConnectionTable::remove(const Connection& connection) {
    const auto found = m_by_thread.find(connection.m_thread);
    std::vector<ConnectionPtr>& own = found->second;
    own.back()->m_index = connection.m_index;
    std::swap(own[connection.m_index], own.back());
    own.pop_back();
    if (own.empty()) m_by_thread.erase(found);
}

std::vector<ConnectionPtr> ConnectionTable::own() const {
    const auto found = m_by_thread.find(thread_number());
    return found == m_by_thread.end() ? std::vector<ConnectionPtr>() : found->second;
}

clsccon* make_handle(clscugblm& area, ConnectionPtr connection) {
    const std::lock_guard lock(area.mutex);
    std::list<clsccon> made = new_handle(area);
    area.connections.add(connection);
    made.front().connection = std::move(connection);
    area.handles.splice(area.handles.begin(), made);
    return &area.handles.front();
}

clsccon* make_handle(clscugblm& area, std::shared_ptr<Listener> listener) {
    const std::lock_guard lock(area.mutex);
    std::list<clsccon> made = new_handle(area);
    made.front().listener = std::move(listener);
    area.handles.splice(area.handles.begin(), made);
    return &area.handles.front();
}

ConnectionPtr connection_of(clsccon* handle) {
    if (handle == nullptr) return nullptr;
    const std::lock_guard lock(handle->mutex);
    return handle->connection;
}

std::shared_ptr<Listener> listener_of(clsccon* handle) {
    if (handle == nullptr) return nullptr;
    const std::lock_guard lock(handle->mutex);
    return handle->listener;
}

} // namespace platform

using namespace platform;

int clscinit(void* /*none1*/, void* /*none2*/, clscctx** context, unsigned flags) {
    if (context == nullptr) return CLSC_FATAL;
    *context = nullptr;
    return guarded([&] {
        const std::lock_guard lock(process().mutex);
        *context = &process().contexts.emplace_back(clscctx{flags});
        return CLSC_OK;
    });
}

int clscugblmini(clscctx* context, clscugblm** area, unsigned /*flags*/) {
    if (area == nullptr) return CLSC_FATAL;
    *area = nullptr;
    if (context == nullptr) return CLSC_FATAL;
    return guarded([&] {
        const std::lock_guard lock(process().mutex);
        *area = &process().areas.emplace_back();
        return CLSC_OK;
    });
}

int clscconquiesce(clsccon* con, unsigned /*zero*/) {
    if (const ConnectionPtr connection = connection_of(con))
        connection->wakeup().fire();
    else if (const std::shared_ptr<Listener> listener = listener_of(con))
        listener->wakeup().fire();
    else
        return CLSC_INVALID;
    return CLSC_OK;
}

int clscdisc(clsccon* con) {
    if (con == nullptr) return CLSC_OK;
    ConnectionPtr connection;
    std::shared_ptr<Listener> listener;
    {
        const std::lock_guard lock(con->mutex);
        connection.swap(con->connection);
        listener.swap(con->listener);
    }
    if (connection != nullptr) {
        const std::lock_guard lock(con->area->mutex);
        con->area->connections.remove(*connection);
    }
    if (connection != nullptr) connection->wakeup().fire();
    if (listener != nullptr) listener->retire();
    return CLSC_OK;
}

void clscrelease(clsccon* con) {
    if (con == nullptr) return;
    clscdisc(con);
    clscugblm& area = *con->area;
    const std::lock_guard lock(area.mutex);
    area.handles.erase(con->self);
}

int clscgetaddr(clsccon* con, unsigned char* buffer, unsigned size, unsigned kind) {
    if (buffer == nullptr || size == 0) return CLSC_FATAL;
    buffer[0] = '\0';
    return guarded([&]() -> int {
        const ConnectionPtr connection = connection_of(con);
        const std::shared_ptr<Listener> listener = listener_of(con);
        MessageSocket* const socket = connection != nullptr ? connection->socket() : nullptr;
        if (socket == nullptr && listener == nullptr) return CLSC_INVALID;
        const int fd = socket != nullptr ? socket->descriptor() : listener->descriptor();
        const std::string text = connect_string(fd, (kind & CLSC_ADDR_LOCAL) != 0);
        if (text.empty()) return CLSC_INVALID;
        if (text.size() >= size) return CLSC_SHORTBUF;
        std::copy_n(text.c_str(), text.size() + 1, buffer);
        return CLSC_OK;
    });
}
