#include "tools/evmpost/Setting.h"

#include "evm/libevm/item_table.h"
#include "evm/libevm/names.h"
#include "evm/libevm/variable.h"

#include <algorithm>
#include <charconv>
#include <concepts>
#include <utility>

namespace evmpost {

namespace {

/// A number that is all of `text`; of a type's range.
template <class Number>
std::optional<Number> number(std::string_view text, int base = 10) {
    Number value{};
    const char* const end = text.data() + text.size();
    std::from_chars_result result{};
    if constexpr (std::integral<Number>)
        result = std::from_chars(text.data(), end, value, base);
    else
        result = std::from_chars(text.data(), end, value);
    if (result.ec != std::errc{} || result.ptr != end) return std::nullopt;
    return value;
}

std::optional<bool> truth(std::string_view text) {
    if (text == "true" || text == "1") return true;
    if (text == "false" || text == "0") return false;
    return std::nullopt;
}

bool sameWord(std::string_view left, std::string_view right) {
    const auto lower = [](char c) {
        return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c;
    };
    return std::ranges::equal(left, right, {}, lower, lower);
}

/// Four numbers with dots, the first in the lowest-order byte.
std::optional<std::uint64_t> address(std::string_view text) {
    std::uint64_t value = 0;
    for (unsigned shift = 0; shift < 32; shift += 8) {
        const std::size_t dot = shift < 24 ? text.find('.') : text.size();
        const auto part = number<std::uint8_t>(text.substr(0, dot));
        if (dot == std::string_view::npos || !part) return std::nullopt;
        value |= std::uint64_t{*part} << shift;
        text.remove_prefix(std::min(dot + 1, text.size()));
    }
    return value;
}

template <class Number>
std::optional<std::uint64_t> widened(std::string_view text) {
    const auto value = number<Number>(text);
    return value ? std::optional(static_cast<std::uint64_t>(*value)) : std::nullopt;
}

std::optional<std::uint64_t> itemNumber(EvmItemId_t id, std::string_view text) {
    switch (id) {
    case EvmITEM_KERNEL_ONLY:
    case EvmITEM_CLUSTER_EVENT: {
        const auto value = truth(text);
        return value ? std::optional<std::uint64_t>(*value) : std::nullopt;
    }
    case EvmITEM_PRIORITY: {
        const auto value = widened<EvmPriority_t>(text);
        return value && *value <= EvmPRIORITY_MAX ? value : std::nullopt;
    }
    case EvmITEM_PID:
    case EvmITEM_PPID:
        return widened<std::int64_t>(text);
    case EvmITEM_TIMESTAMP:
    case EvmITEM_LAST_TIMESTAMP:
        return widened<std::uint64_t>(text);
    case EvmITEM_HOST_IP:
    case EvmITEM_CLUSTER_IP:
        return address(text);
    case EvmITEM_EVENT_ID:
    case EvmITEM_REPEAT_COUNT:
        return widened<std::uint32_t>(text);
    default:
        return widened<std::int32_t>(text);
    }
}

/// "LEFT=RIGHT".
std::optional<std::pair<std::string_view, std::string_view>> atEquals(std::string_view text) {
    const std::size_t equals = text.find('=');
    if (equals == std::string_view::npos) return std::nullopt;
    return std::pair(text.substr(0, equals), text.substr(equals + 1));
}

std::optional<EvmVarType_t> typeNamed(std::string_view name) {
    for (std::uint32_t type = EvmTYPE_FIRST; type <= EvmTYPE_MAX; ++type)
        if (sameWord(evm::typeName(type), name)) return static_cast<EvmVarType_t>(type);
    return std::nullopt;
}

template <class Number>
bool assign(Number& target, const std::optional<Number>& value) {
    if (value) target = *value;
    return value.has_value();
}

bool readBoolean(std::string_view text, EvmBoolean_t& target) {
    const auto value = truth(text);
    target = value.value_or(false) ? EvmTRUE : EvmFALSE;
    return value.has_value();
}

bool readHexadecimal(std::string_view text, std::string& bytes) {
    if (text.size() % 2 != 0) return false;
    for (; !text.empty(); text.remove_prefix(2)) {
        const auto byte = number<std::uint8_t>(text.substr(0, 2), 16);
        if (!byte) return false;
        bytes += static_cast<char>(*byte);
    }
    return true;
}

bool readValue(std::string_view text, VariableSetting& variable) {
    EvmVarValue_t& value = variable.value;
    switch (variable.type) {
    case EvmTYPE_BOOLEAN:
        return readBoolean(text, value.BOOLEAN);
    case EvmTYPE_CHAR:
        if (text.size() == 1) value.EVMCHAR = text.front();
        return text.size() == 1;
    case EvmTYPE_INT16:
        return assign(value.INT16, number<std::int16_t>(text));
    case EvmTYPE_INT32:
        return assign(value.INT32, number<std::int32_t>(text));
    case EvmTYPE_INT64:
        return assign(value.INT64, number<std::int64_t>(text));
    case EvmTYPE_UINT8:
        return assign(value.UINT8, number<std::uint8_t>(text));
    case EvmTYPE_UINT16:
        return assign(value.UINT16, number<std::uint16_t>(text));
    case EvmTYPE_UINT32:
        return assign(value.UINT32, number<std::uint32_t>(text));
    case EvmTYPE_UINT64:
        return assign(value.UINT64, number<std::uint64_t>(text));
    case EvmTYPE_FLOAT:
        return assign(value.FLOAT, number<float>(text));
    case EvmTYPE_DOUBLE:
        return assign(value.DOUBLE, number<double>(text));
    case EvmTYPE_STRING:
        variable.bytes = text;
        return true;
    default:
        return readHexadecimal(text, variable.bytes);
    }
}

} // namespace

std::optional<ItemSetting> parseItem(std::string_view text) {
    const auto parts = atEquals(text);
    const evm::ItemRow* const row = parts ? evm::findItem(parts->first) : nullptr;
    if (row == nullptr || row->id == EvmITEM_NAME || !row->formatted) return std::nullopt;
    ItemSetting setting{row->id, 0, row->storage == evm::Storage::BODY_STRING, {}};
    if (setting.isText) {
        setting.text = parts->second;
        return setting;
    }
    const auto value = itemNumber(row->id, parts->second);
    if (!value) return std::nullopt;
    setting.number = *value;
    return setting;
}

std::optional<VariableSetting> parseVariable(std::string_view text) {
    const auto parts = atEquals(text);
    if (!parts) return std::nullopt;
    const std::size_t colon = parts->first.find(':');
    const std::string_view name = parts->first.substr(0, colon);
    const auto type = colon == std::string_view::npos ? std::optional(EvmTYPE_STRING)
                                                      : typeNamed(parts->first.substr(colon + 1));
    if (!type || evm::_evmVarNameCheck(name) != EvmERROR_NONE) return std::nullopt;
    VariableSetting setting{std::string(name), *type, {}, {}};
    if (!readValue(parts->second, setting)) return std::nullopt;
    return setting;
}

EvmStatus_t apply(EvmEvent_t event, const ItemSetting& setting) {
    if (!setting.isText) return EvmItemSetu(event, setting.id, setting.number);
    const char* const text = setting.text.c_str();
    std::uint64_t address = 0; // which is how the library takes a text here
    static_assert(sizeof address == sizeof text);
    std::memcpy(&address, &text, sizeof address);
    return EvmItemSetu(event, setting.id, address);
}

EvmStatus_t apply(EvmEvent_t event, const VariableSetting& setting) {
    EvmVarValue_t value = setting.value;
    if (setting.type == EvmTYPE_STRING)
        value.STRING = setting.bytes.c_str();
    else if (setting.type == EvmTYPE_OPAQUE)
        value.OPAQUE = setting.bytes.data();
    return EvmVarSet(event, setting.name.c_str(), setting.type, value, 0,
                     static_cast<EvmSize_t>(setting.bytes.size()));
}

} // namespace evmpost
