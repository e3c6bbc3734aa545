#pragma once

#include "evm/libevm/evm.h"
#include "evm/libevm/heap.h"

#include <cstdarg>
#include <cstddef>
#include <span>

/// The staging form of an item list: its entries, checked, in one heap block, before anything
/// touches an event.
///
/// The block: package header, entry table, the copied strings and values of a relocatable package,
/// and at the next multiple of 8 the trailer.

struct EvmItemTableEntry_t {
    EvmItemId_t item_id; ///< 1 to 23
    EvmItemValue_t item_value;
    EvmVarStruct_t varstruct; ///< what item_value.VAR points at
};

struct EvmItemPkgTrailer_t {
    std::uint32_t magic;
};

struct EvmItemPkg_t {
    std::uint32_t version;
    std::uint32_t magic;
    EvmItemPkg_t* base_p; ///< the package itself
    EvmBoolean_t relocatable;
    std::uint32_t entry_count;
    std::uint32_t size; ///< of the whole block
    EvmItemTableEntry_t* table_p;
    EvmItemPkgTrailer_t* trailer_p;
};

namespace evm {

inline constexpr std::uint32_t PACKAGE_VERSION = 1;
inline constexpr std::uint32_t PACKAGE_MAGIC = 0x80CE3912;
inline constexpr std::uint32_t PACKAGE_TRAILER_MAGIC = 0x92F1E021;

/// A sequence of entries that can be walked from its start any number of times.
class EntrySource {
public:
    virtual void rewind() = 0;
    /// The next entry; its id is EvmITEM_NONE at the end. Fails on the list's first fault. The
    /// entry's VAR is not set yet.
    virtual EvmStatus_t next(EvmItemTableEntry_t& entry) = 0;

protected:
    ~EntrySource() = default;
};

/// Entries read from a variable argument list.
class ArgumentSource final : public EntrySource {
public:
    /// The list must stay valid as long as the source; `va_end` stays the caller's.
    explicit ArgumentSource(va_list list);
    ~ArgumentSource();
    ArgumentSource(const ArgumentSource&) = delete;
    ArgumentSource& operator=(const ArgumentSource&) = delete;

    void rewind() override;
    EvmStatus_t next(EvmItemTableEntry_t& entry) override;

private:
    EvmStatus_t readVariable(EvmItemTableEntry_t& entry, EvmItemId_t id);

    va_list m_start;
    va_list m_list;
};

/// One entry, made from a 64-bit value.
class ValueSource final : public EntrySource {
public:
    ValueSource(EvmItemId_t id, std::uint64_t value) : m_id(id), m_value(value) {}

    void rewind() override { m_given = false; }
    EvmStatus_t next(EvmItemTableEntry_t& entry) override;

private:
    EvmItemId_t m_id;
    std::uint64_t m_value;
    bool m_given = false;
};

enum class PackageKind {
    PLAIN,       ///< points at the caller's strings and values
    RELOCATABLE, ///< holds copies of them
};

class ItemPackage {
public:
    EvmStatus_t build(EntrySource& source, PackageKind kind = PackageKind::PLAIN);
    /// From an item list; `va_end` stays the caller's.
    EvmStatus_t build(va_list list, PackageKind kind = PackageKind::PLAIN);

    [[nodiscard]] std::span<const EvmItemTableEntry_t> entries() const {
        return {m_package->table_p, m_package->entry_count};
    }
    [[nodiscard]] const EvmItemPkg_t& header() const { return *m_package; }

private:
    EvmStatus_t allocate(std::uint64_t entries, std::uint64_t copied, PackageKind kind);
    EvmStatus_t fill(EntrySource& source);
    [[nodiscard]] bool namesVariableTwice() const;

    HeapPtr<EvmItemPkg_t> m_package;
};

} // namespace evm
