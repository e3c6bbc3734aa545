#include "tools/evmshow/RecordFeed.h"

#include <cstring>
#include <utility>

namespace evmshow {

RecordFeed::RecordFeed(std::size_t capacity)
    : m_capacity(capacity), m_bytes(std::make_unique_for_overwrite<std::byte[]>(capacity)) {}

std::span<std::byte> RecordFeed::room() {
    if (m_begin != 0) moveRest(m_capacity);
    if (m_end == m_capacity) moveRest(m_capacity * 2);
    return {m_bytes.get() + m_end, m_capacity - m_end};
}

void RecordFeed::moveRest(std::size_t capacity) {
    const evm::Bytes bytes = rest();
    if (capacity == m_capacity) {
        std::memmove(m_bytes.get(), bytes.data(), bytes.size());
    } else {
        auto larger = std::make_unique_for_overwrite<std::byte[]>(capacity);
        std::memcpy(larger.get(), bytes.data(), bytes.size());
        m_bytes = std::move(larger);
        m_capacity = capacity;
    }
    m_begin = 0;
    m_end = bytes.size();
}

std::optional<Stretch> RecordFeed::next() {
    const evm::Bytes bytes = rest();
    if (bytes.empty() || (bytes.size() < m_needed && !m_finished)) return std::nullopt;
    const Piece piece = m_scanner.next(bytes, m_finished);
    if (piece.kind == Piece::Kind::MORE) {
        m_needed = piece.size;
        return std::nullopt;
    }
    const Stretch stretch{piece.kind, piece.fault, m_offset, bytes.first(piece.size)};
    m_begin += piece.size;
    m_offset += piece.size;
    m_needed = 1;
    return stretch;
}

} // namespace evmshow
