#include "evm/libevm/exchange.h"
#include "evm/libevm/item_table.h"
#include "evm/libevm/variable.h"

namespace evm {

namespace {

/// Whether a text that begins at an offset ends with a NUL before `end`.
bool terminated(Bytes bytes, std::size_t offset, std::uint64_t end) {
    const std::uint64_t terminator = offset + textAt(bytes, offset).size();
    return terminator < bytes.size() && terminator < end;
}

bool soundVariable(Bytes block) {
    if (block.size() < VARIABLE_NAME_OFFSET) return false;
    const auto head = load<EvmVarHead_t>(block, 0);
    const std::uint64_t slot = VARIABLE_NAME_OFFSET + round8(head.nameLen);
    if (slot > block.size()) return false;
    if (!terminated(block, VARIABLE_NAME_OFFSET, VARIABLE_NAME_OFFSET + head.nameLen)) return false;
    const VariableType* const type = findType(head.type);
    if (type == nullptr) return true;
    if (slot + (type->width != 0 ? type->width : head.valueLen) > block.size()) return false;
    return head.type != EvmTYPE_STRING ||
           terminated(block, static_cast<std::size_t>(slot), slot + head.valueLen);
}

bool soundBlock(const Block& block) {
    if (block.ident == EvmITEM_VAR) return soundVariable(block.bytes);
    const ItemRow* const row = findItem(static_cast<EvmItemId_t>(block.ident));
    if (row == nullptr) return true;
    if (row->storage == Storage::BODY_STRING)
        return terminated(block.bytes, BLOCK_HEADER_SIZE, block.bytes.size());
    return row->storage != Storage::BODY_NUMBER ||
           block.bytes.size() >= BLOCK_HEADER_SIZE + row->width;
}

} // namespace

EvmStatus_t _evmStructureTest(Bytes record) {
    const bool extended =
        load<std::uint32_t>(record, offsetof(EvmEventHead_t, ext_item_id)) == EvmITEM_HDR_EXT_SIZE;
    const std::size_t header = extended ? HEADER_SIZE : OLD_HEADER_SIZE;
    if (record.size() < header) return EvmERROR_INVALID_VALUE;
    BlockWalk walk(record, header);
    while (const auto block = walk.next()) {
        if (!soundBlock(*block)) return EvmERROR_INVALID_VALUE;
    }
    return walk.position() == record.size() ? EvmERROR_NONE : EvmERROR_INVALID_VALUE;
}

} // namespace evm
