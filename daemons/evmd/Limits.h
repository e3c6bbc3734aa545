#pragma once

#include <chrono>
#include <cstddef>
#include <cstdint>

namespace evmd {

/// What clients may ask of the daemon, so that none of them can hold it up for the others.
struct Limits {
    /// Clients at one time. Each takes a thread and two descriptors, far below the usual 1,024.
    unsigned clients = 256;
    /// Of them, clients of one user, so that no single one keeps the others out.
    unsigned clientsPerUser = 64;
    /// Places that only the superuser can take: the cluster's own daemons post as the superuser.
    /// The limit of one user does not apply to the superuser.
    unsigned superuserReserve = 16;
    /// An event carries one text of a command, at most a listing of some megabytes.
    std::uint32_t recordSize = 16 * 1024 * 1024;
    /// Records above this size are taken from few clients at a time, which bounds what all clients
    /// together keep in memory.
    std::uint32_t largeRecord = 256 * 1024;
    unsigned largeRecords = 4;

    std::chrono::milliseconds handshakeTime{10'000}; ///< from the connect to the whole request
    std::chrono::milliseconds bodyTime{10'000};      ///< from a header to the body's first byte
    /// A client that has been silent for so long loses its place when others need one.
    std::chrono::milliseconds idleTime{60'000};
    std::chrono::milliseconds stopGrace{2'000}; ///< for messages under way when the daemon stops

    /// Between the clients and the file; whoever finds it full waits.
    std::size_t queuedRecords = 1'024;
    std::size_t queuedBytes = 32 * 1024 * 1024;
    /// Written and made durable at once; more would keep the first of them waiting.
    std::size_t batchBytes = 4 * 1024 * 1024;
};

} // namespace evmd
