#include "platform/local/registry_call.h"

#include "platform/local/error_text.h"

#include <cerrno>

namespace platform::registry {
namespace {

constexpr std::size_t URL_SHOWN_MAX = 300; ///< of a store's place in an error text

} // namespace

Outcome Call::may_run() const {
    if (!m_context) return Outcome::failure(PRZKS_BADARG, "the registry is not open");
    if (m_context->level == Level::reboot) {
        if (m_access == Access::read) return {};
        return Outcome::failure(PRZKS_READONLY, "the registry was opened to read only");
    }
    return m_context->store.check_up();
}

Outcome Call::check_store(Outcome found) const {
    if (!m_context->store.is_removed()) return found;
    return Outcome::failure(PRZKS_NOSTORE, "the store was removed", ENOENT);
}

int Call::finish(std::optional<std::string_view> key, const Outcome& outcome) {
    if (outcome) return PRZKS_OK;
    std::string text = "cannot ";
    text += m_action;
    text += key ? " " + quote_key(*key) : "";
    if (m_context)
        text += " of " + shorten_from_left(quotable(m_context->url, PRZKS_MAX_NAME), URL_SHOWN_MAX);
    text += ": ";
    text += outcome.reason();
    keep_error(m_context ? m_handle : nullptr, text);
    return outcome.status();
}

int Call::closed_key() {
    std::string text = "cannot ";
    text += m_action;
    keep_error(m_context ? m_handle : nullptr, text + " a key that is not open");
    return PRZKS_BADARG;
}

int Call::out_of_memory() {
    keep_error(m_context ? m_handle : nullptr, "the process is out of memory");
    return PRZKS_RESOURCES;
}

} // namespace platform::registry
