#include "evm/libevm/variable.h"

#include <algorithm>
#include <array>

namespace evm {

namespace {

constexpr std::array<VariableType, EvmTYPE_MAX + 1> TYPES = {{
    {"NONE", 0, 0},
    {"BOOLEAN", 4, 1},
    {"CHAR", 1, 1},
    {"INT16", 2, 2},
    {"INT32", 4, 4},
    {"INT64", 8, 8},
    {"UINT8", 1, 1},
    {"UINT16", 2, 2},
    {"UINT32", 4, 4},
    {"UINT64", 8, 8},
    {"FLOAT", 4, 4},
    {"DOUBLE", 8, 8},
    {"STRING", 0, 0},
    {"OPAQUE", 0, 0},
}};

/// The part of `bytes` from `offset`, at most `length` bytes of it.
Bytes part(Bytes bytes, std::uint64_t offset, std::size_t length) {
    if (offset >= bytes.size()) return {};
    const Bytes rest = bytes.subspan(static_cast<std::size_t>(offset));
    return rest.first(std::min(length, rest.size()));
}

} // namespace

const VariableType* findType(std::uint32_t type) {
    return type >= EvmTYPE_FIRST && type <= EvmTYPE_MAX ? &TYPES[type] : nullptr;
}

const char* typeName(std::uint32_t type) {
    return type < TYPES.size() ? TYPES[type].name : "UNKNOWN";
}

std::string_view variableName(const Block& block) {
    return textAt(block.bytes, VARIABLE_NAME_OFFSET);
}

Variable readVariable(const Block& block) {
    const auto head = load<EvmVarHead_t>(block.bytes, 0);
    Variable variable{head.type, head.msgId, variableName(block), {}};
    const VariableType* const type = findType(head.type);
    if (type == nullptr) return variable;
    const std::uint64_t slot = VARIABLE_NAME_OFFSET + round8(head.nameLen);
    variable.value = part(block.bytes, slot, type->width != 0 ? type->width : head.valueLen);
    if (head.type == EvmTYPE_STRING) variable.value = variable.value.first(variable.text().size());
    return variable;
}

std::optional<Variable> VariableWalk::next() {
    while (const auto block = m_blocks.next()) {
        if (block->ident == EvmITEM_VAR) return readVariable(*block);
    }
    return std::nullopt;
}

std::optional<Variable> findVariable(Bytes record, std::string_view name) {
    BlockWalk walk(record);
    while (const auto block = walk.next()) {
        if (block->ident == EvmITEM_VAR && variableName(*block) == name)
            return readVariable(*block);
    }
    return std::nullopt;
}

std::uint64_t valueSize(const EvmVarStruct_t& variable) {
    const VariableType* const type = findType(variable.type);
    if (type == nullptr) return 0;
    if (variable.type == EvmTYPE_STRING) {
        return variable.value.STRING == nullptr ? 0 : std::strlen(variable.value.STRING) + 1;
    }
    return variable.type == EvmTYPE_OPAQUE ? variable.length : type->width;
}

bool lacksValue(const EvmVarStruct_t& variable) {
    if (variable.type == EvmTYPE_STRING) return variable.value.STRING == nullptr;
    return variable.type == EvmTYPE_OPAQUE && variable.value.OPAQUE == nullptr &&
           variable.length != 0;
}

} // namespace evm
