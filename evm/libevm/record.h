#pragma once

#include "evm/libevm/evm.h"

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <optional>
#include <span>
#include <string_view>

/// Reading event records as bytes. Every access is checked against the end of the bytes it is given
/// and copies what it reads, so that bytes from outside need neither trust nor alignment.

namespace evm {

inline constexpr std::uint16_t RECORD_IDENT = 3;
inline constexpr std::uint16_t RECORD_VERSION = 2;
inline constexpr std::uint16_t RECORD_MAGIC = 0x7654;
inline constexpr std::size_t HEADER_SIZE = sizeof(EvmEventHead_t);
/// The header of a version 1 record, without the extension words.
inline constexpr std::size_t OLD_HEADER_SIZE = offsetof(EvmEventHead_t, ext_item_id);
inline constexpr std::size_t BLOCK_HEADER_SIZE = sizeof(EvmVar_t);
/// The longest record: what the transports carry as one message.
inline constexpr std::size_t RECORD_MAX = 64 * 1024 * 1024;

constexpr std::uint64_t round8(std::uint64_t size) {
    return (size + 7) / 8 * 8;
}

using Bytes = std::span<const std::byte>;

/// The value at an offset; 0 when it would reach past the end.
template <class T>
T load(Bytes bytes, std::size_t offset) {
    T value{};
    if (offset <= bytes.size() && bytes.size() - offset >= sizeof value)
        std::memcpy(&value, bytes.data() + offset, sizeof value);
    return value;
}

/// Stores a value; nothing when it would reach past the end.
template <class T>
void store(std::span<std::byte> bytes, std::size_t offset, T value) {
    if (offset <= bytes.size() && bytes.size() - offset >= sizeof value)
        std::memcpy(bytes.data() + offset, &value, sizeof value);
}

/// The text that begins at an offset, up to its NUL or the end.
std::string_view textAt(Bytes bytes, std::size_t offset);

/// What the header's `control.size` says.
inline std::uint32_t controlSize(Bytes record) {
    return load<std::uint32_t>(record, offsetof(EvmEventHead_t, control.size));
}

inline bool itemPresent(Bytes record, EvmItemId_t id) {
    return (load<std::uint32_t>(record, offsetof(EvmEventHead_t, fldPresBits)) >> id & 1U) != 0;
}

/// One block of a body.
struct Block {
    std::uint32_t ident;
    std::size_t offset; ///< in the record
    Bytes bytes;        ///< with the block's header

    /// The value of a string item.
    [[nodiscard]] std::string_view text() const { return textAt(bytes, BLOCK_HEADER_SIZE); }
};

/// Walks over the blocks of a body; ends before a block that is not inside the record.
class BlockWalk {
public:
    explicit BlockWalk(Bytes record, std::size_t from = HEADER_SIZE)
        : m_record(record), m_at(from) {}

    std::optional<Block> next();
    /// Where the walk stands: the record's end when everything was well formed.
    [[nodiscard]] std::size_t position() const { return m_at; }

private:
    Bytes m_record;
    std::size_t m_at;
};

/// The first block with that ident.
std::optional<Block> findBlock(Bytes record, EvmItemId_t ident);

/// An item's value where it lies.
struct ItemView {
    std::uint64_t number = 0;
    std::string_view text; ///< of a string item
};

/// Reads one predefined item. Without its presence bit it is EvmERROR_NOT_PRESENT, but a flag is
/// then false.
EvmStatus_t readItem(Bytes record, EvmItemId_t id, ItemView& view);

} // namespace evm
