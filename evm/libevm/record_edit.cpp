#include "evm/libevm/record_edit.h"

#include "evm/libevm/checksum.h"
#include "evm/libevm/entry_block.h"
#include "evm/libevm/item_table.h"
#include "evm/libevm/variable.h"

#include <algorithm>
#include <array>

namespace evm {

namespace {

using Entry = EvmItemTableEntry_t;

/// What a list of entries does to a record.
class Edit {
public:
    explicit Edit(std::span<const Entry> entries) : m_entries(entries) {
        for (std::size_t index = 0; index < entries.size(); ++index)
            m_last[entries[index].item_id] = index;
    }

    /// Checks the entries and adds up their blocks.
    EvmStatus_t measure(std::uint64_t& added) const;
    /// Whether the block makes room: the list names its item or variable, or it is a deleted one.
    [[nodiscard]] bool replaces(const Block& block) const;
    /// Appends all entries behind `end`, where there is room for them, and sets the record's size.
    void insert(std::span<std::byte> record, std::size_t end) const;

private:
    /// Of a body item named twice the last one holds.
    [[nodiscard]] bool superseded(std::size_t index) const {
        const EvmItemId_t id = m_entries[index].item_id;
        return id != EvmITEM_VAR && hasBlock(*findItem(id)) && m_last[id] != index;
    }

    static constexpr std::size_t ABSENT = SIZE_MAX;
    static constexpr auto NONE_NAMED = [] {
        std::array<std::size_t, EvmITEM_MAX + 1> indices{};
        indices.fill(ABSENT);
        return indices;
    }();

    std::span<const Entry> m_entries;
    /// For every item id the index of its last entry.
    std::array<std::size_t, EvmITEM_MAX + 1> m_last = NONE_NAMED;
};

EvmStatus_t Edit::measure(std::uint64_t& added) const {
    added = 0;
    for (std::size_t index = 0; index < m_entries.size(); ++index) {
        const EvmStatus_t status = checkEntry(m_entries[index]);
        if (status != EvmERROR_NONE) return status;
        if (!superseded(index)) added += entrySize(m_entries[index]);
    }
    return EvmERROR_NONE;
}

bool Edit::replaces(const Block& block) const {
    if (block.ident == EvmITEM_NONE) return true;
    if (block.ident > EvmITEM_MAX || m_last[block.ident] == ABSENT) return false;
    if (block.ident != EvmITEM_VAR)
        return hasBlock(*findItem(static_cast<EvmItemId_t>(block.ident)));
    const std::string_view name = variableName(block);
    return std::ranges::any_of(m_entries, [name](const Entry& entry) {
        return entry.item_id == EvmITEM_VAR && name == entry.varstruct.name_p;
    });
}

void Edit::insert(std::span<std::byte> record, std::size_t end) const {
    constexpr std::size_t PRESENCE = offsetof(EvmEventHead_t, fldPresBits);
    auto presence = load<std::uint32_t>(record, PRESENCE);
    for (std::size_t index = 0; index < m_entries.size(); ++index) {
        const Entry& entry = m_entries[index];
        const ItemRow& row = *findItem(entry.item_id);
        presence |= 1U << row.id;
        if (!hasBlock(row)) {
            writeHeaderItem(record, entry);
        } else if (!superseded(index)) {
            const auto size = static_cast<std::size_t>(entrySize(entry));
            writeBlock(record.subspan(end, size), entry);
            end += size;
        }
    }
    store(record, PRESENCE, presence);
    store(record, offsetof(EvmEventHead_t, control.size), static_cast<std::uint32_t>(end));
}

void initialiseHeader(std::span<std::byte> record) {
    EvmEventHead_t head{};
    head.control.ident = RECORD_IDENT;
    head.control.blocktype = EvmDATABLOCK_EVENT;
    head.control.size = HEADER_SIZE;
    head.version = RECORD_VERSION;
    head.magic = RECORD_MAGIC;
    head.ext_item_id = EvmITEM_HDR_EXT_SIZE;
    head.ext_item_len = HEADER_SIZE - OLD_HEADER_SIZE;
    store(record, 0, head);
}

/// The bytes of the blocks that an edit replaces.
std::uint64_t givenBack(Bytes record, const Edit& edit) {
    std::uint64_t size = 0;
    BlockWalk walk(record);
    while (const auto block = walk.next()) {
        if (edit.replaces(*block)) size += block->bytes.size();
    }
    return size;
}

/// Moves the blocks that stay over those that do not, in one pass; returns the new end, behind
/// which everything is zero. Runs of blocks that stay are moved as one.
std::size_t squeeze(std::span<std::byte> record, std::size_t size, const Edit& edit) {
    BlockWalk walk(record.first(size));
    std::size_t end = HEADER_SIZE;
    std::size_t run = HEADER_SIZE;
    const auto keepRun = [&](std::size_t runEnd) {
        if (end != run) std::memmove(record.data() + end, record.data() + run, runEnd - run);
        end += runEnd - run;
    };
    while (const auto block = walk.next()) {
        if (!edit.replaces(*block)) continue;
        keepRun(block->offset);
        run = walk.position();
    }
    keepRun(walk.position());
    std::memset(record.data() + end, 0, record.size() - end);
    return end;
}

bool resizeRecord(EvmEventHandle_s& event, std::size_t size) {
    void* const resized = heapResize(event.head_p, size);
    if (resized != nullptr) event.head_p = static_cast<std::byte*>(resized);
    return resized != nullptr;
}

} // namespace

EvmStatus_t createEvent(const ItemPackage& package, EvmEvent_t* event) {
    const Edit edit(package.entries());
    std::uint64_t added = 0;
    const EvmStatus_t status = edit.measure(added);
    if (status != EvmERROR_NONE) return status;
    if (added > RECORD_MAX - HEADER_SIZE) return EvmERROR_NO_MEMORY;
    const auto size = HEADER_SIZE + static_cast<std::size_t>(added);
    auto record = heapArray<std::byte>(size);
    if (record == nullptr) return EvmERROR_NO_MEMORY;
    initialiseHeader({record.get(), size});
    edit.insert({record.get(), size}, HEADER_SIZE);
    return makeEvent(std::move(record), event);
}

EvmStatus_t setItems(EvmEventHandle_s& event, const ItemPackage& package) {
    const Edit edit(package.entries());
    std::uint64_t added = 0;
    const EvmStatus_t status = edit.measure(added);
    if (status != EvmERROR_NONE) return status;
    const std::size_t current = recordOf(event).size();
    const std::uint64_t wanted = current + added - givenBack(recordOf(event), edit);
    if (wanted > RECORD_MAX) return EvmERROR_NO_MEMORY;
    const auto size = static_cast<std::size_t>(wanted);
    if (size > current && !resizeRecord(event, size)) return EvmERROR_NO_MEMORY;
    const std::span<std::byte> record(event.head_p, std::max(size, current));
    const std::size_t end = squeeze(record, current, edit);
    _evmChecksumClear(record);
    edit.insert(record, end);
    // Without memory for a smaller block the record keeps the larger one.
    if (size < current) resizeRecord(event, size);
    return EvmERROR_NONE;
}

} // namespace evm
