#include "tools/evmshow/RecordScanner.h"

#include "evm/libevm/checksum.h"
#include "evm/libevm/exchange.h"
#include "evm/libevm/names.h"
#include "tools/evmshow/RecordView.h"

#include <string.h>

#include <algorithm>
#include <array>

namespace evmshow {

namespace {

/// What the library accepts as blocks of a file; it makes only the first.
constexpr std::uint16_t EVENT_BLOCKTYPE = EvmDATABLOCK_EVENT;
constexpr std::uint16_t LAST_BLOCKTYPE = 3;

/// Block identifier and type of an event, which tell where a record may begin.
constexpr std::size_t MARK_OFFSET = offsetof(EvmEventHead_t, control);
constexpr std::array<std::uint8_t, 4> MARK{evm::RECORD_IDENT, 0, EVENT_BLOCKTYPE, 0};
constexpr std::size_t MARK_END = MARK_OFFSET + MARK.size();

/// Work in vain that is always allowed, and what every byte of the file allows beyond. Bytes that
/// were made to look like the beginnings of many long records, each of which would be looked
/// through, shall not take quadratic time; no accident comes near.
constexpr std::uint64_t WORK_ALLOWED = 4 * std::uint64_t{evm::RECORD_MAX};
constexpr std::uint64_t WORK_A_BYTE = 16;

std::uint16_t blocktypeOf(evm::Bytes record) {
    return evm::load<std::uint16_t>(record, offsetof(EvmEventHead_t, control.blocktype));
}

/// Whether identifier and type are those of a block; behind damage only an event's are looked for.
bool hasMark(evm::Bytes bytes, bool lost) {
    const auto ident = evm::load<std::uint16_t>(bytes, offsetof(EvmEventHead_t, control.ident));
    const std::uint16_t type = blocktypeOf(bytes);
    return ident == evm::RECORD_IDENT && type >= EVENT_BLOCKTYPE &&
           type <= (lost ? EVENT_BLOCKTYPE : LAST_BLOCKTYPE);
}

std::size_t headerOf(evm::Bytes record) {
    return isOldVersion(record) ? evm::OLD_HEADER_SIZE : evm::HEADER_SIZE;
}

/// How far the blocks of a record of `size` bytes can be followed through the bytes at hand.
struct Chain {
    std::size_t reached;
    bool sound; ///< no block is wrong as far as the bytes go
};

Chain followBlocks(evm::Bytes bytes, std::size_t size) {
    if (bytes.size() < evm::HEADER_SIZE) return {bytes.size(), true};
    std::size_t at = headerOf(bytes);
    while (at < size) {
        if (at > bytes.size() || bytes.size() - at < evm::BLOCK_HEADER_SIZE)
            return {std::min(at, bytes.size()), size - at >= evm::BLOCK_HEADER_SIZE};
        const auto block = evm::load<EvmVar_t>(bytes, at);
        if (block.size < evm::BLOCK_HEADER_SIZE || block.size % 8 != 0 || block.size > size - at)
            return {at, false};
        at += block.size;
    }
    return {std::min(size, bytes.size()), at == size};
}

bool hasChecksum(evm::Bytes record) {
    const auto flags = evm::load<std::uint32_t>(record, offsetof(EvmEventHead_t, flags));
    return (flags >> EvmFLAG_CHECKSUM_PRESENT & 1U) != 0;
}

bool hasValidPriority(evm::Bytes record) {
    return !evm::itemPresent(record, EvmITEM_PRIORITY) || priorityOf(record) <= EvmPRIORITY_MAX;
}

bool hasWrittenHeader(evm::Bytes record) {
    const auto size = evm::load<std::uint32_t>(record, 0);
    const auto type =
        evm::load<std::uint16_t>(record, offsetof(EvmCommunicationHeader_t, type_clscmsgh));
    return size == record.size() && type == 1;
}

/// Where, from `from` on, a record may begin; none when no mark is found.
std::size_t nextMark(evm::Bytes bytes, std::size_t from) {
    if (bytes.size() < MARK_END || from > bytes.size() - MARK_END) return bytes.size();
    const evm::Bytes searched = bytes.subspan(from + MARK_OFFSET);
    const void* const found = memmem(searched.data(), searched.size(), MARK.data(), MARK.size());
    if (found == nullptr) return bytes.size();
    return static_cast<std::size_t>(static_cast<const std::byte*>(found) - bytes.data()) -
           MARK_OFFSET;
}

} // namespace

Piece RecordScanner::next(evm::Bytes bytes, bool last) {
    const Judgement judgement = judge(bytes, m_position, last, m_lost);
    switch (judgement.verdict) {
    case Verdict::SOUND:
        return told({Piece::Kind::RECORD, judgement.size});
    case Verdict::NOT_UNDERSTOOD:
        return told({Piece::Kind::SKIPPED, judgement.size, Fault::NOT_UNDERSTOOD});
    case Verdict::SHORT:
        if (!last) return {Piece::Kind::MORE, judgement.size};
        return told(skip(bytes, last, true));
    default:
        return told(skip(bytes, last, false));
    }
}

Piece RecordScanner::told(Piece piece) {
    m_position += piece.size;
    m_lost = piece.kind == Piece::Kind::SKIPPED && piece.fault == Fault::DAMAGED;
    return piece;
}

bool RecordScanner::affords(std::size_t size, std::uint64_t position) const {
    return m_spent + size <= WORK_ALLOWED + WORK_A_BYTE * position;
}

/// `lost`: the record does not follow one that is whole, so that it needs a witness of its own.
RecordScanner::Judgement RecordScanner::judge(evm::Bytes bytes, std::uint64_t position, bool last,
                                              bool lost) {
    // Behind damage a beginning that shows no mark is a part of the damage.
    if (bytes.size() < MARK_END)
        return {lost && last ? Verdict::BROKEN : Verdict::SHORT, evm::OLD_HEADER_SIZE};
    if (!hasMark(bytes, lost)) return {Verdict::BROKEN};
    if (bytes.size() < evm::OLD_HEADER_SIZE) return {Verdict::SHORT, evm::OLD_HEADER_SIZE};
    std::size_t size = 0;
    const bool possible = evm::_evmRecordSize(bytes, size) == EvmERROR_NONE;
    if (!possible || !affords(size, position)) return {Verdict::BROKEN};
    Verdict verdict = size <= bytes.size() ? judgeWhole(bytes.first(size), lost) : Verdict::SHORT;
    if (verdict == Verdict::SOUND || verdict == Verdict::NOT_UNDERSTOOD) return {verdict, size};
    // The body of another type is unknown and has no blocks to follow.
    const Chain chain = blocktypeOf(bytes) == EVENT_BLOCKTYPE
                            ? followBlocks(bytes, size)
                            : Chain{std::min(size, bytes.size()), true};
    if (!chain.sound) verdict = Verdict::BROKEN;
    if (verdict == Verdict::BROKEN || last) m_spent += chain.reached;
    return {verdict, size};
}

RecordScanner::Verdict RecordScanner::judgeWhole(evm::Bytes record, bool lost) {
    const bool summed = hasChecksum(record);
    if (blocktypeOf(record) != EVENT_BLOCKTYPE) {
        // Its body is unknown: only the checksum can tell that the size is its own.
        return summed && evm::_evmChecksumTest(record) == EvmERROR_NONE ? Verdict::NOT_UNDERSTOOD
                                                                        : Verdict::BROKEN;
    }
    if (evm::_evmStructureTest(record) != EvmERROR_NONE ||
        evm::_evmChecksumTest(record) != EvmERROR_NONE)
        return Verdict::BROKEN;
    if (lost && !summed && !hasWrittenHeader(record)) return Verdict::BROKEN;
    return hasValidName(record) && hasValidPriority(record) ? Verdict::SOUND
                                                            : Verdict::NOT_UNDERSTOOD;
}

/// Names come again and again, and comparing one is faster than checking it.
bool RecordScanner::hasValidName(evm::Bytes record) {
    const std::string_view name = nameOf(record);
    std::string& known = m_names[name.size() % m_names.size()];
    if (name == known) return true;
    if (evm::_evmNameCheck(name, false, nullptr) != EvmERROR_NONE) return false;
    if (name.size() <= KNOWN_NAME_SIZE) known = name;
    return true;
}

/// From what is no whole record to where one begins. What may be one, but is cut off by the end of
/// the bytes, counts unless the skipped itself is `torn`.
Piece RecordScanner::skip(evm::Bytes bytes, bool last, bool torn) {
    for (std::size_t at = nextMark(bytes, 1); at < bytes.size(); at = nextMark(bytes, at + 1)) {
        const Verdict verdict = judge(bytes.subspan(at), m_position + at, last, true).verdict;
        if (verdict != Verdict::BROKEN && !(torn && verdict == Verdict::SHORT))
            return {Piece::Kind::SKIPPED, at};
    }
    if (last) return {Piece::Kind::SKIPPED, bytes.size(), torn ? Fault::TORN : Fault::DAMAGED};
    // The end may hold the beginning of a record whose mark has not come yet.
    return {Piece::Kind::SKIPPED, bytes.size() - (MARK_END - 1)};
}

} // namespace evmshow
