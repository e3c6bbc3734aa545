#pragma once

#include "evm/libevm/evm.h"

#include <memory>
#include <stdexcept>
#include <string>

namespace evmpost {

/// Events cannot be handed on at all: one line that says why.
class DestinationError : public std::runtime_error {
public:
    DestinationError(const std::string& text, bool noDaemon)
        : std::runtime_error(text), m_noDaemon(noDaemon) {}
    [[nodiscard]] bool noDaemon() const { return m_noDaemon; }

private:
    bool m_noDaemon;
};

/// Where events go. Both kinds throw DestinationError when nothing more can get there.
class Destination {
public:
    virtual ~Destination() = default;
    /// Hands an event on; when only this one is refused, the library's status says why.
    virtual EvmStatus_t take(EvmEvent_t event) = 0;
};

/// The event daemon; an empty address is the default one. Waits for each event's acknowledgement.
std::unique_ptr<Destination> connectToDaemon(const std::string& address);

/// A file, to whose end records are written; "-" is standard output. An event without a timestamp
/// gets the current time, as a posted one does.
std::unique_ptr<Destination> openFile(const std::string& name);

/// The library's text for a status.
std::string statusText(EvmStatus_t status);

} // namespace evmpost
