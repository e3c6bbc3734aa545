#include "evm/libevm/item_package.h"
#include "evm/libevm/item_table.h"
#include "evm/libevm/variable.h"

namespace evm {

namespace {

const void* pointerFrom(std::uint64_t value) {
    const void* pointer = nullptr;
    static_assert(sizeof pointer == sizeof value);
    std::memcpy(&pointer, &value, sizeof pointer);
    return pointer;
}

EvmStatus_t checkVariable(const EvmVarStruct_t& variable) {
    const bool complete = variable.name_p != nullptr && !lacksValue(variable);
    return complete ? EvmERROR_NONE : EvmERROR_INVALID_ARGUMENT;
}

EvmStatus_t setVariable(EvmItemTableEntry_t& entry, const void* variable) {
    if (variable == nullptr) return EvmERROR_INVALID_ARGUMENT;
    std::memcpy(&entry.varstruct, variable, sizeof entry.varstruct);
    return checkVariable(entry.varstruct);
}

/// Fills an entry for one of the items 1 to 23; numbers are narrowed as the item needs.
EvmStatus_t setItem(EvmItemTableEntry_t& entry, const ItemRow& row, std::uint64_t value) {
    entry.item_id = row.id;
    switch (row.storage) {
    case Storage::NOWHERE:
        return EvmERROR_NOT_IMPLEMENTED;
    case Storage::VARIABLES:
        return setVariable(entry, pointerFrom(value));
    case Storage::BODY_STRING:
        entry.item_value.NAME = static_cast<const char*>(pointerFrom(value));
        return entry.item_value.NAME != nullptr ? EvmERROR_NONE : EvmERROR_INVALID_ARGUMENT;
    case Storage::FLAG:
        entry.item_value.KERNEL_ONLY = static_cast<EvmBoolean_t>(value);
        return EvmERROR_NONE;
    default:
        // The members of the union share their lowest-order bytes.
        std::memcpy(&entry.item_value, &value, row.width);
        return EvmERROR_NONE;
    }
}

std::uint64_t valueFrom(const void* pointer) {
    std::uint64_t value = 0;
    std::memcpy(&value, &pointer, sizeof pointer);
    return value;
}

/// The type of an item id that adds one typed variable.
EvmVarType_t typeOfItem(EvmItemId_t id) {
    if (id == EvmITEM_VAR_STRING_I18N) return EvmTYPE_STRING;
    if (id == EvmITEM_VAR_OPAQUE) return EvmTYPE_OPAQUE;
    return static_cast<EvmVarType_t>(id - EvmITEM_VAR_BOOLEAN + EvmTYPE_FIRST);
}

} // namespace

ArgumentSource::ArgumentSource(va_list list) {
    va_copy(m_start, list);
    va_copy(m_list, list);
}

ArgumentSource::~ArgumentSource() {
    va_end(m_list);
    va_end(m_start);
}

void ArgumentSource::rewind() {
    va_end(m_list);
    va_copy(m_list, m_start);
}

EvmStatus_t ArgumentSource::next(EvmItemTableEntry_t& entry) {
    entry = {};
    const auto id = static_cast<EvmItemId_t>(va_arg(m_list, int));
    if (id == EvmITEM_NONE) return EvmERROR_NONE;
    if (id >= EvmITEM_VAR_BOOLEAN && id <= EvmITEM_VAR_OPAQUE) return readVariable(entry, id);
    const ItemRow* const row = findItem(id);
    if (row == nullptr) return EvmERROR_INVALID_ARGUMENT;
    if (row->storage == Storage::NOWHERE) return EvmERROR_NOT_IMPLEMENTED;
    std::uint64_t value = 0;
    if (row->storage == Storage::BODY_STRING || row->storage == Storage::VARIABLES)
        value = valueFrom(va_arg(m_list, const void*));
    else if (row->width == sizeof value)
        value = va_arg(m_list, std::uint64_t);
    else
        value = static_cast<std::uint32_t>(va_arg(m_list, int));
    return setItem(entry, *row, value);
}

EvmStatus_t ArgumentSource::readVariable(EvmItemTableEntry_t& entry, EvmItemId_t id) {
    EvmVarStruct_t& variable = entry.varstruct;
    entry.item_id = EvmITEM_VAR;
    variable.type = typeOfItem(id);
    variable.name_p = va_arg(m_list, const char*);
    int number = 0;
    switch (variable.type) {
    case EvmTYPE_INT64:
    case EvmTYPE_UINT64:
        variable.value.UINT64 = va_arg(m_list, std::uint64_t);
        break;
    case EvmTYPE_FLOAT:
        variable.value.FLOAT = static_cast<float>(va_arg(m_list, double));
        break;
    case EvmTYPE_DOUBLE:
        variable.value.DOUBLE = va_arg(m_list, double);
        break;
    case EvmTYPE_STRING:
        variable.value.STRING = va_arg(m_list, const char*);
        if (id == EvmITEM_VAR_STRING_I18N) variable.msgId = va_arg(m_list, int);
        break;
    case EvmTYPE_OPAQUE:
        variable.value.OPAQUE = va_arg(m_list, const void*);
        number = va_arg(m_list, int);
        if (number < 0) return EvmERROR_INVALID_ARGUMENT;
        variable.length = static_cast<EvmSize_t>(number);
        break;
    default:
        number = va_arg(m_list, int);
        std::memcpy(&variable.value, &number, findType(variable.type)->width);
        break;
    }
    return checkVariable(variable);
}

EvmStatus_t ValueSource::next(EvmItemTableEntry_t& entry) {
    entry = {};
    if (m_given) return EvmERROR_NONE;
    m_given = true;
    const ItemRow* const row = findItem(m_id);
    return row == nullptr ? EvmERROR_INVALID_ARGUMENT : setItem(entry, *row, m_value);
}

} // namespace evm
