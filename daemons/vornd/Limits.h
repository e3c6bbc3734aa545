#pragma once

#include <chrono>
#include <cstdint>

namespace vornd {

/// What clients may ask of the daemon, so that none of them can hold it up for the others.
struct Limits {
    /// Clients at one time. Each takes a thread and two descriptors, far below the usual 1,024.
    unsigned clients = 256;
    /// Of them, clients of one user, so that no single one keeps the others out.
    unsigned clientsPerUser = 64;
    /// Places that only the superuser can take: an administrator must get in when all others are
    /// taken. The limit of one user does not apply to the superuser.
    unsigned superuserReserve = 16;
    /// Replies in the making at one time: each can take some tens of megabytes.
    unsigned builders = 8;
    /// A request names resources; 1 MiB holds some ten thousand names.
    std::uint32_t requestSize = 1024 * 1024;
    std::chrono::milliseconds requestTime{10'000}; ///< from the connect to the whole request
    std::chrono::milliseconds replyTime{30'000};   ///< for the client to take the reply
    std::chrono::milliseconds closeTime{2'000};    ///< for the client to close afterwards
    std::chrono::milliseconds stopGrace{2'000};    ///< for clients under way when the daemon stops
    /// Whether clients must be users that the kernel knows. Where nobody has a name, the limit of
    /// one user is that of all.
    bool areUsers = true;
};

/// What other nodes' daemons may ask of the end-to-end endpoint, which anybody on the network may
/// claim to be: few at a time and soon done, apart from the places of this node's users.
[[nodiscard]] inline Limits peerLimits() {
    using std::chrono::milliseconds;
    Limits limits;
    limits.clients = limits.clientsPerUser = 64;
    limits.superuserReserve = 0;
    limits.builders = 2;
    limits.requestTime = milliseconds(3'000);
    limits.replyTime = milliseconds(10'000);
    limits.closeTime = milliseconds(1'000);
    limits.areUsers = false;
    return limits;
}

} // namespace vornd
