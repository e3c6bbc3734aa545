#pragma once

#include "evm/libevm/record.h"

/// The checksum of a record: the sum of its bytes without the communication header and the checksum
/// itself, folded to 16 bits. It counts only while the header's flag says that there is one.

namespace evm {

std::uint16_t _evmChecksumCalc(Bytes record);
/// Sets flag and checksum; a record that has one is left alone.
void _evmChecksumInsert(std::span<std::byte> record);
void _evmChecksumClear(std::span<std::byte> record);
/// EvmERROR_INVALID_VALUE when the record has a checksum that is not its own.
EvmStatus_t _evmChecksumTest(Bytes record);

} // namespace evm
