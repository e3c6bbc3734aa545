#include "evm/libevm/record_edit.h"

#include "evm/libevm/checksum.h"
#include "evm/libevm/item_table.h"
#include "evm/libevm/names.h"
#include "evm/libevm/variable.h"

#include <algorithm>
#include <array>

namespace evm {

namespace {

using Entry = EvmItemTableEntry_t;

bool inBody(const ItemRow& row) {
    return row.storage == Storage::BODY_STRING || row.storage == Storage::BODY_NUMBER;
}

EvmStatus_t checkVariable(const EvmVarStruct_t& variable) {
    const bool sound = _evmVarNameCheck(variable.name_p) == EvmERROR_NONE &&
                       findType(variable.type) != nullptr && !lacksValue(variable);
    return sound ? EvmERROR_NONE : EvmERROR_INVALID_VALUE;
}

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

std::uint64_t variableSize(const EvmVarStruct_t& variable) {
    const std::uint64_t slot = std::max<std::uint64_t>(round8(valueSize(variable)),
                                                       variable.type == EvmTYPE_OPAQUE ? 0 : 8);
    return VARIABLE_NAME_OFFSET + round8(std::strlen(variable.name_p) + 1) + slot;
}

/// The bytes that an entry's block takes in the body.
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
        return inBody(*findItem(id)) && m_last[id] != index;
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
    if (block.ident != EvmITEM_VAR) return inBody(*findItem(static_cast<EvmItemId_t>(block.ident)));
    const std::string_view name = variableName(block);
    return std::ranges::any_of(m_entries, [name](const Entry& entry) {
        return entry.item_id == EvmITEM_VAR && name == entry.varstruct.name_p;
    });
}

/// Writes the blocks of a body, one after the other, into zero-filled bytes.
class BodyWriter {
public:
    BodyWriter(std::span<std::byte> record, std::size_t end) : m_record(record), m_end(end) {}

    void append(const Entry& entry) {
        const auto size = static_cast<std::uint32_t>(entrySize(entry));
        const std::span<std::byte> block = m_record.subspan(m_end, size);
        store(block, 0, EvmVar_t{entry.item_id, size});
        if (entry.item_id == EvmITEM_VAR)
            writeVariable(block, entry.varstruct);
        else
            writeItem(block.subspan(BLOCK_HEADER_SIZE), entry);
        m_end += size;
    }

    [[nodiscard]] std::size_t end() const { return m_end; }

private:
    static void writeItem(std::span<std::byte> slot, const Entry& entry) {
        const ItemRow& row = *findItem(entry.item_id);
        if (row.storage == Storage::BODY_STRING)
            std::memcpy(slot.data(), entry.item_value.NAME, std::strlen(entry.item_value.NAME));
        else
            std::memcpy(slot.data(), &entry.item_value, row.width);
    }

    static void writeVariable(std::span<std::byte> block, const EvmVarStruct_t& variable) {
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

    std::span<std::byte> m_record;
    std::size_t m_end;
};

/// Writes a header item; the record has a whole header.
void writeHeaderItem(std::span<std::byte> record, const ItemRow& row, const Entry& entry) {
    if (row.storage == Storage::FIELD) {
        std::memcpy(record.data() + row.position, &entry.item_value, row.width);
        return;
    }
    constexpr std::size_t FLAGS = offsetof(EvmEventHead_t, flags);
    const std::uint32_t bit = 1U << row.position;
    const auto flags = load<std::uint32_t>(record, FLAGS);
    store(record, FLAGS, entry.item_value.KERNEL_ONLY == EvmTRUE ? flags | bit : flags & ~bit);
}

void Edit::insert(std::span<std::byte> record, std::size_t end) const {
    constexpr std::size_t PRESENCE = offsetof(EvmEventHead_t, fldPresBits);
    auto presence = load<std::uint32_t>(record, PRESENCE);
    BodyWriter body(record, end);
    for (std::size_t index = 0; index < m_entries.size(); ++index) {
        const Entry& entry = m_entries[index];
        const ItemRow& row = *findItem(entry.item_id);
        presence |= 1U << row.id;
        if (row.storage == Storage::FLAG || row.storage == Storage::FIELD)
            writeHeaderItem(record, row, entry);
        else if (!superseded(index))
            body.append(entry);
    }
    store(record, PRESENCE, presence);
    store(record, offsetof(EvmEventHead_t, control.size), static_cast<std::uint32_t>(body.end()));
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
