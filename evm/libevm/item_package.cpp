#include "evm/libevm/item_package.h"

#include "evm/libevm/item_table.h"
#include "evm/libevm/variable.h"

#include <new>

namespace evm {

static_assert(sizeof(EvmItemPkg_t) == 48 && sizeof(EvmItemTableEntry_t) == 48);

namespace {

bool isString(const EvmItemTableEntry_t& entry) {
    return findItem(entry.item_id)->storage == Storage::BODY_STRING;
}

/// The bytes of an entry that a relocatable package copies.
std::uint64_t copiedBytes(const EvmItemTableEntry_t& entry) {
    if (isString(entry)) return std::strlen(entry.item_value.NAME) + 1;
    if (entry.item_id != EvmITEM_VAR) return 0;
    const EvmVarStruct_t& variable = entry.varstruct;
    const bool pointed = variable.type == EvmTYPE_STRING || variable.type == EvmTYPE_OPAQUE;
    return std::strlen(variable.name_p) + 1 + (pointed ? valueSize(variable) : 0);
}

/// Copies into a block, one piece after the other.
class Copier {
public:
    explicit Copier(std::byte* to) : m_to(to) {}

    const std::byte* copy(const void* from, std::uint64_t size) {
        std::byte* const copied = m_to;
        if (size != 0) std::memcpy(copied, from, static_cast<std::size_t>(size));
        m_to += size;
        return copied;
    }

    const char* copyString(const char* from) {
        const void* const copied = copy(from, std::strlen(from) + 1);
        return static_cast<const char*>(copied);
    }

private:
    std::byte* m_to;
};

void relocate(EvmItemTableEntry_t& entry, Copier& copier) {
    if (isString(entry)) entry.item_value.NAME = copier.copyString(entry.item_value.NAME);
    if (entry.item_id != EvmITEM_VAR) return;
    EvmVarStruct_t& variable = entry.varstruct;
    variable.name_p = copier.copyString(variable.name_p);
    if (variable.type == EvmTYPE_STRING)
        variable.value.STRING = copier.copyString(variable.value.STRING);
    if (variable.type == EvmTYPE_OPAQUE)
        variable.value.OPAQUE = copier.copy(variable.value.OPAQUE, variable.length);
}

} // namespace

EvmStatus_t ItemPackage::build(EntrySource& source, PackageKind kind) {
    std::uint64_t count = 0;
    std::uint64_t copied = 0;
    EvmItemTableEntry_t entry;
    for (source.rewind();; ++count) {
        const EvmStatus_t status = source.next(entry);
        if (status != EvmERROR_NONE) return status;
        if (entry.item_id == EvmITEM_NONE) break;
        if (kind == PackageKind::RELOCATABLE) copied += copiedBytes(entry);
    }
    const EvmStatus_t status = allocate(count, copied, kind);
    return status == EvmERROR_NONE ? fill(source) : status;
}

EvmStatus_t ItemPackage::build(va_list list, PackageKind kind) {
    ArgumentSource source(list);
    return build(source, kind);
}

EvmStatus_t ItemPackage::allocate(std::uint64_t entries, std::uint64_t copied, PackageKind kind) {
    const std::uint64_t table = sizeof(EvmItemTableEntry_t) * entries;
    const std::uint64_t trailerAt = round8(sizeof(EvmItemPkg_t) + table + copied);
    const std::uint64_t size = round8(trailerAt + sizeof(EvmItemPkgTrailer_t) + 7);
    if (size > UINT32_MAX) return EvmERROR_NO_MEMORY;
    auto block = heapArray<std::byte>(static_cast<std::size_t>(size));
    if (block == nullptr) return EvmERROR_NO_MEMORY;
    std::byte* const base = block.release();
    m_package.reset(::new (base) EvmItemPkg_t{});
    m_package->version = PACKAGE_VERSION;
    m_package->magic = PACKAGE_MAGIC;
    m_package->base_p = m_package.get();
    m_package->relocatable = kind == PackageKind::RELOCATABLE ? EvmTRUE : EvmFALSE;
    m_package->entry_count = static_cast<std::uint32_t>(entries);
    m_package->size = static_cast<std::uint32_t>(size);
    m_package->table_p =
        static_cast<EvmItemTableEntry_t*>(static_cast<void*>(base + sizeof(EvmItemPkg_t)));
    m_package->trailer_p = ::new (base + trailerAt) EvmItemPkgTrailer_t{PACKAGE_TRAILER_MAGIC};
    return EvmERROR_NONE;
}

EvmStatus_t ItemPackage::fill(EntrySource& source) {
    const std::span<EvmItemTableEntry_t> table(m_package->table_p, m_package->entry_count);
    Copier copier(static_cast<std::byte*>(static_cast<void*>(table.data() + table.size())));
    source.rewind();
    for (EvmItemTableEntry_t& entry : table) {
        // The first walk has seen the whole list: the second cannot fail.
        if (const EvmStatus_t status = source.next(entry); status != EvmERROR_NONE) return status;
        if (m_package->relocatable == EvmTRUE) relocate(entry, copier);
        if (entry.item_id == EvmITEM_VAR) entry.item_value.VAR = &entry.varstruct;
    }
    return namesVariableTwice() ? EvmERROR_INVALID_ARGUMENT : EvmERROR_NONE;
}

bool ItemPackage::namesVariableTwice() const {
    const auto table = entries();
    const auto named = [](const EvmItemTableEntry_t& entry, const char* name) {
        return entry.item_id == EvmITEM_VAR && std::strcmp(entry.varstruct.name_p, name) == 0;
    };
    for (std::size_t later = 1; later < table.size(); ++later) {
        if (table[later].item_id != EvmITEM_VAR) continue;
        for (const EvmItemTableEntry_t& earlier : table.first(later)) {
            if (named(earlier, table[later].varstruct.name_p)) return true;
        }
    }
    return false;
}

} // namespace evm
