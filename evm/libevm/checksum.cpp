#include "evm/libevm/checksum.h"

#include <algorithm>

namespace evm {

namespace {

constexpr std::uint32_t PRESENT = 1U << EvmFLAG_CHECKSUM_PRESENT;
constexpr std::size_t SUM_START = offsetof(EvmEventHead_t, control);
constexpr std::size_t CHECKSUM_OFFSET = offsetof(EvmEventHead_t, checksum);
constexpr std::size_t SUM_RESUME = CHECKSUM_OFFSET + sizeof(std::uint16_t);

constexpr std::uint64_t EVEN_BYTES = 0x00FF00FF00FF00FF;
/// Each step adds at most 2 x 255 to a 16-bit lane, so a lane takes this many without overflow.
constexpr std::size_t STEPS_A_ROUND = 0xFFFF / (2 * 0xFF);

std::uint64_t sumOfLanes(std::uint64_t lanes) {
    constexpr std::uint64_t EVEN_LANES = 0x0000FFFF0000FFFF;
    const std::uint64_t pairs = (lanes & EVEN_LANES) + (lanes >> 16 & EVEN_LANES);
    return (pairs & 0xFFFFFFFF) + (pairs >> 32);
}

/// Sums bytes eight at a time: four 16-bit lanes of one word collect pairs of neighbours.
std::uint64_t sumOfBytes(Bytes bytes) {
    std::uint64_t sum = 0;
    while (bytes.size() >= sizeof(std::uint64_t)) {
        const std::size_t steps = std::min(bytes.size() / sizeof(std::uint64_t), STEPS_A_ROUND);
        std::uint64_t lanes = 0;
        for (std::size_t step = 0; step < steps; ++step) {
            std::uint64_t word = 0;
            std::memcpy(&word, bytes.data() + step * sizeof word, sizeof word);
            lanes += (word & EVEN_BYTES) + (word >> 8 & EVEN_BYTES);
        }
        sum += sumOfLanes(lanes);
        bytes = bytes.subspan(steps * sizeof(std::uint64_t));
    }
    for (const std::byte byte : bytes) sum += std::to_integer<std::uint64_t>(byte);
    return sum;
}

std::uint32_t flagsOf(Bytes record) {
    return load<std::uint32_t>(record, offsetof(EvmEventHead_t, flags));
}

} // namespace

std::uint16_t _evmChecksumCalc(Bytes record) {
    const std::size_t size = std::min<std::size_t>(controlSize(record), record.size());
    if (size < SUM_RESUME) return 0;
    const Bytes body = record.first(size).subspan(SUM_RESUME);
    // The sum is one of 32 bits, which wraps.
    const auto sum = static_cast<std::uint32_t>(
        sumOfBytes(record.subspan(SUM_START, CHECKSUM_OFFSET - SUM_START)) + sumOfBytes(body));
    const std::uint32_t once = (sum >> 16) + (sum & 0xFFFF);
    return static_cast<std::uint16_t>((once >> 16) + (once & 0xFFFF));
}

void _evmChecksumInsert(std::span<std::byte> record) {
    const std::uint32_t flags = flagsOf(record);
    if ((flags & PRESENT) != 0) return;
    store(record, offsetof(EvmEventHead_t, flags), flags | PRESENT);
    store(record, CHECKSUM_OFFSET, _evmChecksumCalc(record));
}

void _evmChecksumClear(std::span<std::byte> record) {
    store(record, offsetof(EvmEventHead_t, flags), flagsOf(record) & ~PRESENT);
}

EvmStatus_t _evmChecksumTest(Bytes record) {
    if ((flagsOf(record) & PRESENT) == 0) return EvmERROR_NONE;
    const auto stored = load<std::uint16_t>(record, CHECKSUM_OFFSET);
    return stored == _evmChecksumCalc(record) ? EvmERROR_NONE : EvmERROR_INVALID_VALUE;
}

} // namespace evm
