#pragma once

#include "evm/libevm/record.h"

#include <optional>
#include <string_view>

/// Variables: the types their values may have, and where they lie in a record.

namespace evm {

/// A variable's block: the head, the name up to a multiple of 8, the value slot.
inline constexpr std::size_t VARIABLE_NAME_OFFSET = sizeof(EvmVarHead_t);

struct VariableType {
    const char* name;
    /// Bytes of a value of fixed size; 0 for strings and opaque data.
    std::uint32_t width;
    /// What the block tells as the value's length. It is 1 for a boolean, although that is stored
    /// in 4 bytes.
    std::uint32_t told;
};

/// Null for a type outside 1 to 13.
const VariableType* findType(std::uint32_t type);
/// For display; "UNKNOWN" outside 0 to 13.
const char* typeName(std::uint32_t type);

/// A variable where it lies in a record.
struct Variable {
    std::uint32_t type;
    EvmI18NMsgId_t msgId;
    std::string_view name;
    Bytes value; ///< without a string's NUL; empty for an unknown type

    [[nodiscard]] std::string_view text() const { return textAt(value, 0); }
};

std::string_view variableName(const Block& block);
/// Reads a variable's block.
Variable readVariable(const Block& block);

/// Walks over the variables of a record.
class VariableWalk {
public:
    explicit VariableWalk(Bytes record) : m_blocks(record) {}

    std::optional<Variable> next();

private:
    BlockWalk m_blocks;
};

std::optional<Variable> findVariable(Bytes record, std::string_view name);

/// The bytes that a variable structure's value occupies before it is filled up: a string's NUL
/// counts. 0 for an unknown type.
std::uint64_t valueSize(const EvmVarStruct_t& variable);
/// Whether a string, or opaque data of some length, is a null pointer.
bool lacksValue(const EvmVarStruct_t& variable);

} // namespace evm
