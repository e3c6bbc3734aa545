#pragma once

#include "tools/evmshow/RecordScanner.h"

#include <memory>
#include <optional>
#include <span>

namespace evmshow {

/// Some bytes of a file, and what they are.
struct Stretch {
    Piece::Kind kind; ///< never MORE
    Fault fault;      ///< of what is skipped
    std::uint64_t offset;
    evm::Bytes bytes; ///< valid until the feed's next operation
};

/// Finds the records in bytes that arrive in portions of any size. Memory grows with the largest
/// record that has arrived so far, not with what a header claims.
class RecordFeed {
public:
    explicit RecordFeed(std::size_t capacity = CAPACITY);

    /// Where the next bytes belong: never empty.
    std::span<std::byte> room();
    /// So many of them are there now.
    void filled(std::size_t count) { m_end += count; }
    /// No more bytes will come.
    void finish() { m_finished = true; }

    /// The next stretch; none when more bytes are needed, or when everything has been told.
    std::optional<Stretch> next();

    /// Forgets the bytes not told yet: they will be given again.
    void dropRest() { m_end = m_begin; }
    /// The place in the file of the first byte not told yet, and of the first not given yet.
    [[nodiscard]] std::uint64_t toldUpTo() const { return m_offset; }
    [[nodiscard]] std::uint64_t givenUpTo() const { return m_offset + (m_end - m_begin); }

private:
    /// So much is read at once: enough for a system call to cost nothing, and it stays in the
    /// cache.
    static constexpr std::size_t CAPACITY = 256 * 1024;

    [[nodiscard]] evm::Bytes rest() const { return {m_bytes.get() + m_begin, m_end - m_begin}; }
    void moveRest(std::size_t capacity);

    RecordScanner m_scanner;
    std::size_t m_capacity;
    std::unique_ptr<std::byte[]> m_bytes;
    std::size_t m_begin = 0; ///< the bytes not told yet
    std::size_t m_end = 0;
    std::uint64_t m_offset = 0;
    std::size_t m_needed = 1; ///< bytes without which nothing more can be told
    bool m_finished = false;
};

} // namespace evmshow
