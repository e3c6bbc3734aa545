#include "evm/libevm/record.h"

#include "evm/libevm/item_table.h"

#include <bit>
#include <type_traits>

namespace evm {

// The layout is sent and stored: it never changes. Numbers lie as the host has them, which narrows
// and widens them by their first bytes.
static_assert(std::endian::native == std::endian::little);
static_assert(HEADER_SIZE == 120 && OLD_HEADER_SIZE == 112);
static_assert(sizeof(EvmCommunicationHeader_t) == 48);
static_assert(offsetof(EvmEventHead_t, control.ident) == 48);
static_assert(offsetof(EvmEventHead_t, control.size) == 52);
static_assert(offsetof(EvmEventHead_t, fldPresBits) == 60);
static_assert(offsetof(EvmEventHead_t, time) == 64);
static_assert(offsetof(EvmEventHead_t, checksum) == 74);
static_assert(offsetof(EvmEventHead_t, eventId) == 76);
static_assert(offsetof(EvmEventHead_t, pid) == 80);
static_assert(offsetof(EvmEventHead_t, ppid) == 96);
static_assert(offsetof(EvmEventHead_t, version) == 108);
static_assert(sizeof(EvmVar_t) == 8 && sizeof(EvmVarHead_t) == 24);
static_assert(sizeof(EvmItemValue_t) == 8 && sizeof(EvmVarValue_t) == 8);
static_assert(sizeof(EvmVarStruct_t) == 32);
static_assert(std::is_trivial_v<EvmEventHead_t>);

std::string_view textAt(Bytes bytes, std::size_t offset) {
    if (offset >= bytes.size()) return {};
    const auto* const text =
        static_cast<const char*>(static_cast<const void*>(bytes.data() + offset));
    return {text, strnlen(text, bytes.size() - offset)};
}

std::optional<Block> BlockWalk::next() {
    if (m_at >= m_record.size() || m_record.size() - m_at < BLOCK_HEADER_SIZE) return std::nullopt;
    const auto head = load<EvmVar_t>(m_record, m_at);
    const bool whole = head.size >= BLOCK_HEADER_SIZE && head.size % 8 == 0;
    if (!whole || head.size > m_record.size() - m_at) return std::nullopt;
    const Block block{head.ident, m_at, m_record.subspan(m_at, head.size)};
    m_at += head.size;
    return block;
}

std::optional<Block> findBlock(Bytes record, EvmItemId_t ident) {
    BlockWalk walk(record);
    while (const auto block = walk.next()) {
        if (block->ident == ident) return block;
    }
    return std::nullopt;
}

namespace {

std::uint64_t loadNumber(Bytes bytes, std::size_t offset, std::size_t width) {
    switch (width) {
    case sizeof(std::uint16_t):
        return load<std::uint16_t>(bytes, offset);
    case sizeof(std::uint32_t):
        return load<std::uint32_t>(bytes, offset);
    default:
        return load<std::uint64_t>(bytes, offset);
    }
}

EvmStatus_t readBodyItem(Bytes record, const ItemRow& row, ItemView& view) {
    const auto block = findBlock(record, row.id);
    if (!block) return EvmERROR_NOT_PRESENT;
    if (row.storage == Storage::BODY_STRING)
        view.text = block->text();
    else
        view.number = loadNumber(block->bytes, BLOCK_HEADER_SIZE, row.width);
    return EvmERROR_NONE;
}

} // namespace

EvmStatus_t readItem(Bytes record, EvmItemId_t id, ItemView& view) {
    view = {};
    const ItemRow* const row = findItem(id);
    if (row == nullptr) return EvmERROR_INVALID_ARGUMENT;
    const bool present = itemPresent(record, id);
    if (!present && row->storage != Storage::FLAG) return EvmERROR_NOT_PRESENT;
    switch (row->storage) {
    case Storage::FLAG: {
        const auto flags = load<std::uint32_t>(record, offsetof(EvmEventHead_t, flags));
        view.number = present ? flags >> row->position & 1U : 0U;
        return EvmERROR_NONE;
    }
    case Storage::FIELD:
        view.number = loadNumber(record, row->position, row->width);
        return EvmERROR_NONE;
    case Storage::BODY_STRING:
    case Storage::BODY_NUMBER:
        return readBodyItem(record, *row, view);
    default:
        return EvmERROR_NOT_PRESENT;
    }
}

} // namespace evm
