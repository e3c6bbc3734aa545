#include "platform/include/clsc.h"
#include "platform/local/clsc_handles.h"

#include <poll.h>

#include <algorithm>
#include <cerrno>

using namespace platform;

namespace {

/// Those of the calling thread's connections that are connected.
std::vector<ConnectionPtr> connected_own(clscugblm& area) {
    const std::lock_guard lock(area.mutex);
    std::vector<ConnectionPtr> own = area.connections.own();
    std::erase_if(own, [](const ConnectionPtr& c) { return c->socket() == nullptr; });
    return own;
}

bool has_input_already(const std::vector<ConnectionPtr>& connections) {
    return std::any_of(connections.begin(), connections.end(), [](const ConnectionPtr& c) {
        return c->wakeup().fired() || c->socket()->has_input();
    });
}

std::vector<pollfd> descriptors_of(const std::vector<ConnectionPtr>& connections) {
    std::vector<pollfd> descriptors;
    descriptors.reserve(2 * connections.size());
    for (const ConnectionPtr& connection : connections) {
        descriptors.push_back({connection->socket()->descriptor(), POLLIN, 0});
        descriptors.push_back({connection->wakeup().descriptor(), POLLIN, 0});
    }
    return descriptors;
}

int select(clscugblm& area, const Deadline& deadline) {
    // Holding them keeps their descriptors open while they are polled.
    const std::vector<ConnectionPtr> connections = connected_own(area);
    if (connections.empty()) return CLSC_INVALID;
    if (has_input_already(connections)) return CLSC_OK;
    std::vector<pollfd> descriptors = descriptors_of(connections);
    while (true) {
        const int count = poll(descriptors.data(), descriptors.size(), deadline.poll_timeout());
        if (count > 0) return CLSC_OK;
        if (count < 0 && errno != EINTR) return CLSC_FATAL;
        if (count == 0 && deadline.passed()) return CLSC_TIMEOUT;
    }
}

} // namespace

int clscselect(clscugblm* area, clscevthdlr /*handler*/, std::uint64_t waitMs,
               std::uint64_t /*ticks*/, unsigned /*flags*/) {
    if (area == nullptr) return CLSC_INVALID;
    return guarded([&] { return select(*area, Deadline::after_ms(waitMs)); });
}
