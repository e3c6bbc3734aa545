#pragma once

#include "platform/include/registry.h"

#include <memory>
#include <string>
#include <string_view>

namespace platform::registry {

/// How an operation on a store ended: well, or with a status and the reason in words. The reason
/// completes "cannot ... key K: ".
class [[nodiscard]] Outcome {
public:
    Outcome() = default;
    static Outcome failure(int status, std::string reason, int oserror = 0);
    /// A failed system call: `doing` ("writing its file") and the system's text. Without `doing` it
    /// is the place of a key that was looked up, and told in those terms ("no such key").
    static Outcome system(std::string_view doing, int error);
    /// Somebody else changed the place meanwhile: look again (see repeat).
    static Outcome again();

    [[nodiscard]] explicit operator bool() const { return m_fault == nullptr; }
    [[nodiscard]] int status() const { return m_fault ? m_fault->status : PRZKS_OK; }
    [[nodiscard]] int oserror() const { return m_fault ? m_fault->oserror : 0; }
    [[nodiscard]] std::string_view reason() const {
        return m_fault ? std::string_view(m_fault->reason) : std::string_view();
    }
    [[nodiscard]] bool is_again() const;

private:
    struct Fault {
        int status;
        int oserror;
        std::string reason;
    };
    std::unique_ptr<Fault> m_fault;
};

/// How often a place may change under an operation before that gives up.
inline constexpr int ATTEMPTS = 100;

/// Runs `attempt` until it answers something else than Outcome::again.
template <class Attempt>
Outcome repeat(Attempt attempt) {
    for (int count = 0; count < ATTEMPTS; ++count) {
        Outcome outcome = attempt();
        if (!outcome.is_again()) return outcome;
    }
    return Outcome::failure(PRZKS_BUSY, "other processes kept changing it");
}

} // namespace platform::registry
