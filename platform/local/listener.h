#pragma once

#include "platform/include/clsc.h"
#include "platform/local/endpoint_file.h"
#include "platform/local/wakeup.h"

#include <memory>

namespace platform {

/// A listening endpoint. `retire` and the wake-up may be used from any thread.
class Listener {
public:
    /// Listens at an address: CLSC_OK and a listener; CLSC_INUSE, CLSC_BADADDR, CLSC_REFUSED or
    /// CLSC_FATAL.
    static int open(const clsc_address& address, std::shared_ptr<Listener>& listener);

    /// Accepts one connection: CLSC_OK; CLSC_NOTHING when there is none (or the wake-up was fired)
    /// and CLSC_FATAL when the process is out of something, both only without `wait`: otherwise
    /// they are waited for, the latter with a pause instead of spinning.
    int accept(bool wait, Descriptor& socket);
    /// Pauses while the process is out of descriptors; false when the wake-up was fired.
    bool pause_for_resources();

    /// Takes the endpoint away and ends what is blocked on it.
    void retire();

    [[nodiscard]] Wakeup& wakeup() { return m_wakeup; }
    [[nodiscard]] int descriptor() const { return m_socket.get(); }

private:
    int open_ipc(const std::string& key);
    int open_tcp(const clsc_address& address);

    Wakeup m_wakeup;
    Descriptor m_socket;
    EndpointFile m_file;
    bool m_is_tcp = false;
};

} // namespace platform
