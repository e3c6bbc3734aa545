#include "evm/libevm/event_handle.h"
#include "evm/libevm/evm.h"
#include "evm/libevm/names.h"
#include "evm/libevm/value_text.h"

using namespace evm;

namespace {

/// A name that grows. Without memory it stays as it was.
class GrowingName {
public:
    bool append(std::string_view text) {
        if (m_size + text.size() >= m_capacity && !grow(text.size())) return false;
        std::memcpy(m_text.get() + m_size, text.data(), text.size());
        m_size += text.size();
        m_text.get()[m_size] = '\0';
        return true;
    }

    /// Only the characters that a name may have.
    bool appendNameCharacters(std::string_view text) {
        while (!text.empty()) {
            std::size_t length = 0;
            while (length < text.size() && isNameCharacter(text[length])) ++length;
            if (!append(text.substr(0, length))) return false;
            text.remove_prefix(length < text.size() ? length + 1 : length);
        }
        return true;
    }

    [[nodiscard]] bool empty() const { return m_size == 0; }
    [[nodiscard]] const char* text() const { return m_text.get(); }

private:
    bool grow(std::size_t needed) {
        const std::size_t capacity = (m_size + needed) * 2 + VALUE_TEXT_LEAST;
        void* const grown = heapResize(m_text.get(), capacity);
        if (grown == nullptr) return false;
        static_cast<void>(m_text.release());
        m_text.reset(static_cast<char*>(grown));
        m_capacity = capacity;
        return true;
    }

    HeapPtr<char> m_text;
    std::size_t m_size = 0;
    std::size_t m_capacity = 0;
};

bool hasComponent(std::string_view name, std::string_view component) {
    while (true) {
        const std::size_t dot = name.find('.');
        if (name.substr(0, dot) == component) return true;
        if (dot == std::string_view::npos) return false;
        name.remove_prefix(dot + 1);
    }
}

/// What a variable adds to the name before all but name characters are taken out.
std::string_view extensionText(const Variable& variable, Area area) {
    return variable.type == EvmTYPE_OPAQUE ? "OPAQUE" : variableText(variable, area);
}

bool hasNameCharacter(std::string_view text) {
    for (const char c : text) {
        if (isNameCharacter(c)) return true;
    }
    return false;
}

} // namespace

EvmStatus_t EvmEventAutoExtendName(EvmEvent_t event, EvmCount_t* added) {
    if (!isLive(event)) return EvmERROR_INVALID_ARGUMENT;
    if (added != nullptr) *added = 0;
    const Bytes record = recordOf(*event);
    ItemView name;
    if (const EvmStatus_t status = readItem(record, EvmITEM_NAME, name); status != EvmERROR_NONE)
        return status;
    GrowingName extended;
    if (!extended.append(name.text)) return EvmERROR_NO_MEMORY;
    EvmCount_t count = 0;
    for (VariableWalk walk(record); const auto variable = walk.next();) {
        if (!variable->name.starts_with('_') || hasComponent(name.text, variable->name)) continue;
        char area[VALUE_TEXT_LEAST];
        const std::string_view text = extensionText(*variable, area);
        if (!hasNameCharacter(text)) continue;
        const bool appended = (extended.empty() || extended.append(".")) &&
                              extended.append(variable->name) && extended.append(".") &&
                              extended.appendNameCharacters(text);
        if (!appended) return EvmERROR_NO_MEMORY;
        ++count;
    }
    if (count == 0) return EvmERROR_NONE;
    const EvmStatus_t status = EvmItemSetVa(event, EvmITEM_NAME, extended.text(), EvmITEM_NONE);
    if (status == EvmERROR_NONE && added != nullptr) *added = count;
    return status;
}
