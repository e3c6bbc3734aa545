#include "platform/include/clsc.h"
#include "platform/local/clsc_handles.h"
#include "platform/local/peer_user.h"

#include <algorithm>

using namespace platform;

namespace {

/// Connections need a wake-up of their own, so accepting takes two descriptors.
int open_connection(Listener& listener, bool wait, Connection& connection) {
    while (!connection.open()) {
        if (!wait) return CLSC_FATAL;
        if (!listener.pause_for_resources()) return CLSC_NOTHING;
    }
    return CLSC_OK;
}

/// Hands over the name of the peer's user, whole or not at all; a peer on another machine has none.
int deliver_user(int fd, unsigned char* user, unsigned size) {
    const std::optional<uid_t> uid = peer_user(fd);
    if (!uid) return CLSC_OK;
    const std::string name = user_text(*uid);
    if (user == nullptr || name.size() >= size) return CLSC_REFUSED;
    std::copy_n(name.c_str(), name.size() + 1, user);
    return CLSC_OK;
}

} // namespace

int clsclisten(clscugblm* area, const unsigned char* address, clsccon** handle,
               unsigned /*flags*/) {
    if (handle == nullptr) return CLSC_FATAL;
    *handle = nullptr;
    if (area == nullptr) return CLSC_FATAL;
    return guarded([&]() -> int {
        clsc_address decoded;
        std::shared_ptr<Listener> listener;
        int result = decode_address(address, decoded);
        if (result == CLSC_OK) result = Listener::open(decoded, listener);
        if (result == CLSC_OK) *handle = make_handle(*area, std::move(listener));
        return result;
    });
}

int clscanswer(clsccon* listener, unsigned, clsccon** con, unsigned, unsigned, unsigned char* user,
               unsigned userSize, unsigned /*seconds*/, unsigned mode) {
    if (con == nullptr) return CLSC_FATAL;
    *con = nullptr;
    if (user != nullptr && userSize != 0) user[0] = '\0';
    return guarded([&]() -> int {
        const std::shared_ptr<Listener> listening = listener_of(listener);
        if (listening == nullptr) return CLSC_INVALID;
        const bool wait = (mode & CLSC_MODE_WAIT) != 0;
        const auto connection = std::make_shared<Connection>();
        Descriptor socket;
        int result = open_connection(*listening, wait, *connection);
        if (result == CLSC_OK) result = listening->accept(wait, socket);
        if (result == CLSC_OK && (mode & CLSC_MODE_AUTH) != 0)
            result = deliver_user(socket.get(), user, userSize);
        if (result != CLSC_OK) return result;
        connection->attach(std::move(socket));
        *con = make_handle(*listener->area, connection);
        return CLSC_OK;
    });
}
