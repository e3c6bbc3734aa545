#include "platform/local/registry_handles.h"

#include "platform/local/error_text.h"

#include <algorithm>
#include <array>
#include <cstring>

namespace platform::registry {
namespace {

/// Contexts whose last failure a thread remembers; a process uses four (two levels of two
/// registries). Plain memory, so that it may be used while the thread ends.
constexpr std::size_t ERRORS_KEPT = 8;
constexpr std::size_t KEY_SHOWN_MAX = 400; ///< of a name in an error text

struct KeptError {
    std::uintptr_t context;
    std::size_t length;
    std::array<char, PRZKS_ERRORTEXT_SIZE> text;
};

struct KeptErrors {
    std::array<KeptError, ERRORS_KEPT> errors;
    std::size_t used;
    std::size_t oldest;
};

constinit thread_local KeptErrors kept{};

KeptError* find_kept(std::uintptr_t context) {
    KeptError* const end = kept.errors.data() + kept.used;
    KeptError* const found = std::find_if(
        kept.errors.data(), end, [&](const KeptError& error) { return error.context == context; });
    return found == end ? nullptr : found;
}

KeptError& slot_for(std::uintptr_t context) {
    if (KeptError* const found = find_kept(context)) return *found;
    if (kept.used < ERRORS_KEPT) return kept.errors[kept.used++];
    KeptError& slot = kept.errors[kept.oldest];
    kept.oldest = (kept.oldest + 1) % ERRORS_KEPT;
    return slot;
}

} // namespace

std::shared_ptr<const Place> Key::place() {
    const std::lock_guard lock(m_mutex);
    return m_place;
}

void Key::move_to(Place place) {
    auto moved = std::make_shared<const Place>(std::move(place));
    const std::lock_guard lock(m_mutex);
    m_place = std::move(moved);
}

HandleTable<przks_ctx, Context>& contexts() {
    static Immortal<HandleTable<przks_ctx, Context>> table;
    return *table;
}

HandleTable<przks_key, Key>& keys() {
    static Immortal<HandleTable<przks_key, Key>> table;
    return *table;
}

void keep_error(const przks_ctx* context, std::string_view text) {
    const auto number = std::bit_cast<std::uintptr_t>(context);
    KeptError& slot = slot_for(number);
    slot.context = number;
    slot.length = std::min<std::size_t>(text.size(), slot.text.size() - 1);
    std::memcpy(slot.text.data(), text.data(), slot.length);
}

std::string_view kept_error(const przks_ctx* context) {
    const KeptError* const found = find_kept(std::bit_cast<std::uintptr_t>(context));
    return found == nullptr ? std::string_view()
                            : std::string_view(found->text.data(), found->length);
}

void copy_text(std::string_view text, char* buffer, std::size_t size) {
    if (buffer == nullptr || size == 0) return;
    const std::size_t length = std::min(text.size(), size - 1);
    std::memcpy(buffer, text.data(), length);
    buffer[length] = '\0';
}

std::string quote_key(std::string_view name) {
    if (name.empty()) return "the root key";
    return "key \"" + quotable(name, KEY_SHOWN_MAX) + "\"";
}

} // namespace platform::registry
