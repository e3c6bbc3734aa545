#include "evm/libevm/entry_block.h"

#include "evm/libevm/names.h"
#include "evm/libevm/variable.h"

#include <algorithm>

namespace evm {

namespace {

using Entry = EvmItemTableEntry_t;

EvmStatus_t checkVariable(const EvmVarStruct_t& variable) {
    const bool sound = _evmVarNameCheck(variable.name_p) == EvmERROR_NONE &&
                       findType(variable.type) != nullptr && !lacksValue(variable);
    return sound ? EvmERROR_NONE : EvmERROR_INVALID_VALUE;
}

std::uint64_t variableSize(const EvmVarStruct_t& variable) {
    const std::uint64_t slot = std::max<std::uint64_t>(round8(valueSize(variable)),
                                                       variable.type == EvmTYPE_OPAQUE ? 0 : 8);
    return VARIABLE_NAME_OFFSET + round8(std::strlen(variable.name_p) + 1) + slot;
}

void writeItem(std::span<std::byte> slot, const Entry& entry) {
    const ItemRow& row = *findItem(entry.item_id);
    if (row.storage == Storage::BODY_STRING)
        std::memcpy(slot.data(), entry.item_value.NAME, std::strlen(entry.item_value.NAME));
    else
        std::memcpy(slot.data(), &entry.item_value, row.width);
}

void writeVariable(std::span<std::byte> block, const EvmVarStruct_t& variable) {
    const auto name = static_cast<std::uint32_t>(std::strlen(variable.name_p) + 1);
    const auto size = static_cast<std::uint32_t>(valueSize(variable));
    const VariableType& type = *findType(variable.type);
    const EvmVarHead_t head{load<EvmVar_t>(block, 0), variable.type, name,
                            type.width == 0 ? size : type.told, variable.msgId};
    store(block, 0, head);
    std::memcpy(block.data() + VARIABLE_NAME_OFFSET, variable.name_p, name);
    const void* value = &variable.value;
    if (variable.type == EvmTYPE_STRING) value = variable.value.STRING;
    if (variable.type == EvmTYPE_OPAQUE) value = variable.value.OPAQUE;
    if (size == 0) return;
    std::memcpy(block.data() + VARIABLE_NAME_OFFSET + round8(name), value, size);
}

} // namespace

EvmStatus_t checkEntry(const Entry& entry) {
    switch (entry.item_id) {
    case EvmITEM_PRIORITY:
        return entry.item_value.PRIORITY <= EvmPRIORITY_MAX ? EvmERROR_NONE
                                                            : EvmERROR_INVALID_VALUE;
    case EvmITEM_NAME:
        return _evmNameCheck(entry.item_value.NAME, false, nullptr) == EvmERROR_NONE
                   ? EvmERROR_NONE
                   : EvmERROR_INVALID_VALUE;
    case EvmITEM_VAR:
        return checkVariable(entry.varstruct);
    default:
        return EvmERROR_NONE;
    }
}

std::uint64_t entrySize(const Entry& entry) {
    const ItemRow& row = *findItem(entry.item_id);
    switch (row.storage) {
    case Storage::BODY_STRING:
        return BLOCK_HEADER_SIZE + round8(std::strlen(entry.item_value.NAME) + 1);
    case Storage::BODY_NUMBER:
        return BLOCK_HEADER_SIZE + sizeof(std::uint64_t);
    case Storage::VARIABLES:
        return variableSize(entry.varstruct);
    default:
        return 0;
    }
}

void writeBlock(std::span<std::byte> block, const Entry& entry) {
    store(block, 0, EvmVar_t{entry.item_id, static_cast<std::uint32_t>(block.size())});
    if (entry.item_id == EvmITEM_VAR)
        writeVariable(block, entry.varstruct);
    else
        writeItem(block.subspan(BLOCK_HEADER_SIZE), entry);
}

void writeHeaderItem(std::span<std::byte> record, const Entry& entry) {
    const ItemRow& row = *findItem(entry.item_id);
    if (row.storage == Storage::FIELD) {
        std::memcpy(record.data() + row.position, &entry.item_value, row.width);
        return;
    }
    constexpr std::size_t FLAGS = offsetof(EvmEventHead_t, flags);
    const std::uint32_t bit = 1U << row.position;
    const auto flags = load<std::uint32_t>(record, FLAGS);
    store(record, FLAGS, entry.item_value.KERNEL_ONLY == EvmTRUE ? flags | bit : flags & ~bit);
}

} // namespace evm
