#pragma once

#include "evm/libevm/record.h"

#include <array>
#include <cstddef>
#include <cstdint>
#include <string>

/// Finding the records in the bytes of a file of records, whatever became of it: records lie one
/// after another, and behind damage the next one may begin at any byte.

namespace evmshow {

enum class Fault : std::uint8_t {
    DAMAGED,        ///< no record, or one that is not as it was written
    TORN,           ///< the beginning of a record, up to the end of the file
    NOT_UNDERSTOOD, ///< whole, but no event that this version knows or accepts
};

/// What the first of some bytes are.
struct Piece {
    enum class Kind : std::uint8_t { RECORD, SKIPPED, MORE };

    Kind kind;
    std::size_t
        size; ///< of the record; of what is none; of MORE: how many bytes are needed to tell
    Fault fault = Fault::DAMAGED; ///< of what is skipped
};

/// Tells records from what is none. A pure function of the bytes, except that it remembers whether
/// it has lost its way and how much work bad bytes have cost. What it tells does not depend on how
/// the bytes are cut into portions.
class RecordScanner {
public:
    /// `bytes`, at least one, begin where the last piece ended; `last` when nothing follows them.
    /// After RECORD or SKIPPED the caller goes on behind the piece. Without `last` it may ask for
    /// MORE, never for more than the largest record.
    Piece next(evm::Bytes bytes, bool last);

private:
    enum class Verdict : std::uint8_t { SOUND, NOT_UNDERSTOOD, SHORT, BROKEN };
    struct Judgement {
        Verdict verdict;
        std::size_t size = 0; ///< that the record claims
    };

    Judgement judge(evm::Bytes bytes, std::uint64_t position, bool last, bool lost);
    Verdict judgeWhole(evm::Bytes record, bool lost);
    bool hasValidName(evm::Bytes record);
    Piece skip(evm::Bytes bytes, bool last, bool torn);
    Piece told(Piece piece);
    [[nodiscard]] bool affords(std::size_t size, std::uint64_t position) const;

    std::uint64_t m_position = 0; ///< of the first byte not told yet
    std::uint64_t m_spent = 0;    ///< bytes looked through in vain
    bool m_lost = false;          ///< the last piece was damage

    /// Valid names seen before, at a place that depends on their length; none longer than so.
    static constexpr std::size_t KNOWN_NAME_SIZE = 256;
    std::array<std::string, 64> m_names;
};

} // namespace evmshow
