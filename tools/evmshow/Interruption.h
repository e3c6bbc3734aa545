#pragma once

#include <csignal>
#include <exception>

/// Ending by SIGINT or SIGTERM without losing what was read.

namespace evmshow {

/// Thrown where the program would wait although it was told to end.
class Interrupted : public std::exception {};

/// Catches the two signals once; the second of a kind ends the program at once, should the first
/// not reach it.
void catchInterruptions();
bool interruptionRequested();

/// While it lives the two signals do not arrive except in waits that use `outside`.
class InterruptionsBlocked {
public:
    InterruptionsBlocked();
    ~InterruptionsBlocked();
    InterruptionsBlocked(const InterruptionsBlocked&) = delete;
    InterruptionsBlocked& operator=(const InterruptionsBlocked&) = delete;

    [[nodiscard]] const sigset_t& outside() const { return m_outside; }

private:
    sigset_t m_outside;
};

} // namespace evmshow
