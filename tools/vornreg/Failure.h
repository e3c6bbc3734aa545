#pragma once

#include <stdexcept>
#include <string>
#include <string_view>

namespace vornreg {

/// Exit statuses of the program. Scripts test them: their numbers stay as they are.
enum class Status : int {
    done = 0,
    failed = 1,
    usage = 2,
    notThere = 3,     ///< no such resource, no such key
    alreadyThere = 4, ///< a resource of that name is registered
    notPermitted = 5,
    unavailable = 6, ///< no registry, or one that cannot be used now
};

/// Why a sub-command ends: one line that names the thing and the reason.
class Failure : public std::runtime_error {
public:
    Failure(Status status, const std::string& text) : std::runtime_error(text), m_status(status) {}
    [[nodiscard]] Status status() const { return m_status; }

private:
    Status m_status;
};

/// The exit status that a status of the registry client (not 0) comes to.
[[nodiscard]] Status statusOf(int rc);
/// The calling thread's last operation on the open registry, which answered `rc` while working on
/// `what`.
[[nodiscard]] Failure registryFailure(const std::string& what, int rc);
/// Throws that failure unless `rc` is 0.
void require(const std::string& what, int rc);

/// One line on standard error: "vornreg: TEXT", control characters shown as "?".
void complain(std::string_view text);
/// The text with each control character as "?": what others wrote must not reach a terminal as it
/// is.
[[nodiscard]] std::string withoutControls(std::string_view text);

} // namespace vornreg
