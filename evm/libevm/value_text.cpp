#include "evm/libevm/value_text.h"

#include "evm/libevm/item_table.h"
#include "evm/libevm/labels.h"

#include <algorithm>
#include <charconv>
#include <ctime>
#include <initializer_list>

namespace evm {

namespace {

template <class Number>
std::string_view decimal(Number number, Area area) {
    const auto [end, error] = std::to_chars(area.data(), area.data() + area.size(), number);
    return {area.data(), end};
}

/// printf's %.8g, whatever decimal sign the locale has.
std::string_view real(double number, Area area) {
    static constexpr int DIGITS = 8;
    const auto [end, error] = std::to_chars(area.data(), area.data() + area.size(), number,
                                            std::chars_format::general, DIGITS);
    return {area.data(), end};
}

/// Several pieces as one text, cut to the area.
std::string_view joined(Area area, std::initializer_list<std::string_view> pieces) {
    TextBuffer out(area.data(), area.size());
    for (const std::string_view piece : pieces) out.put(piece);
    return out.text();
}

std::string_view timeText(std::uint64_t seconds, Area area) {
    static constexpr std::size_t TIME_TEXT_SIZE = 64;
    const auto time = static_cast<std::time_t>(seconds);
    std::tm local{};
    // A time beyond the calendar is shown as the number that it is.
    if (time < 0 || localtime_r(&time, &local) == nullptr) return decimal(seconds, area);
    const std::size_t room = std::min(area.size(), TIME_TEXT_SIZE);
    return {area.data(), std::strftime(area.data(), room, "%d-%b-%Y %H:%M:%S", &local)};
}

std::string_view addressText(std::uint32_t address, Area area) {
    TextBuffer out(area.data(), area.size());
    char digits[VALUE_TEXT_LEAST];
    for (unsigned shift = 0; shift < 32; shift += 8) {
        if (shift != 0) out.put(".");
        out.put(decimal(address >> shift & 0xFF, digits));
    }
    return out.text();
}

const char* truthText(bool value) {
    return label(value ? LABEL_TRUE : LABEL_FALSE);
}

/// A character, of which only the lowest 7 bits count; none for NUL.
std::string_view characterText(std::uint8_t value, Area area) {
    area[0] = static_cast<char>(value & 0x7F);
    return {area.data(), area[0] == '\0' ? std::size_t{0} : std::size_t{1}};
}

std::string_view opaqueText(const Variable& variable, Area area) {
    char digits[VALUE_TEXT_LEAST];
    return joined(area, {"[", label(LABEL_OPAQUE), ": ", decimal(variable.value.size(), digits),
                         " ", label(LABEL_BYTES), "]"});
}

} // namespace

std::string_view itemText(EvmItemId_t id, const ItemView& value, Area area) {
    const ItemRow* const row = findItem(id);
    if (row != nullptr && row->storage == Storage::BODY_STRING) return value.text;
    const auto low = static_cast<std::uint32_t>(value.number);
    char digits[VALUE_TEXT_LEAST];
    switch (id) {
    case EvmITEM_KERNEL_ONLY:
    case EvmITEM_CLUSTER_EVENT:
        return truthText(value.number != 0);
    case EvmITEM_PRIORITY:
    case EvmITEM_EVENT_ID:
    case EvmITEM_MEMBER_ID:
    case EvmITEM_I18N_MSG_ID:
    case EvmITEM_I18N_SET_ID:
        return decimal(static_cast<std::int32_t>(low), area);
    case EvmITEM_PID:
    case EvmITEM_PPID:
        return decimal(static_cast<std::int64_t>(value.number), area);
    case EvmITEM_REPEAT_COUNT:
        return decimal(low, area);
    case EvmITEM_TIMESTAMP:
    case EvmITEM_LAST_TIMESTAMP:
        return timeText(value.number, area);
    case EvmITEM_HOST_IP:
    case EvmITEM_CLUSTER_IP:
        return addressText(low, area);
    default:
        return joined(
            area, {label(LABEL_UNKNOWN_ITEM), " ", decimal(static_cast<std::int32_t>(id), digits)});
    }
}

std::string_view variableText(const Variable& variable, Area area) {
    const Bytes value = variable.value;
    switch (variable.type) {
    case EvmTYPE_BOOLEAN:
        return truthText(load<std::uint32_t>(value, 0) != 0);
    case EvmTYPE_CHAR:
        return characterText(load<std::uint8_t>(value, 0), area);
    case EvmTYPE_INT16:
        return decimal(load<std::int16_t>(value, 0), area);
    case EvmTYPE_INT32:
        return decimal(load<std::int32_t>(value, 0), area);
    case EvmTYPE_INT64:
        return decimal(load<std::int64_t>(value, 0), area);
    case EvmTYPE_UINT8:
        return decimal(load<std::uint8_t>(value, 0), area);
    case EvmTYPE_UINT16:
        return decimal(load<std::uint16_t>(value, 0), area);
    case EvmTYPE_UINT32:
        return decimal(load<std::uint32_t>(value, 0), area);
    case EvmTYPE_UINT64:
        return decimal(load<std::uint64_t>(value, 0), area);
    case EvmTYPE_FLOAT:
        return real(static_cast<double>(load<float>(value, 0)), area);
    case EvmTYPE_DOUBLE:
        return real(load<double>(value, 0), area);
    case EvmTYPE_STRING:
        return variable.text();
    case EvmTYPE_OPAQUE:
        return opaqueText(variable, area);
    default:
        return joined(area, {"[$", label(LABEL_UNKNOWN_TYPE), ": ", variable.name, "]"});
    }
}

void putVariable(TextSink& out, const Variable& variable, bool translate) {
    char area[VALUE_TEXT_SIZE];
    const std::string_view text = variableText(variable, area);
    if (translate && variable.type == EvmTYPE_STRING)
        out.putPrintable(text);
    else
        out.put(text);
}

} // namespace evm
