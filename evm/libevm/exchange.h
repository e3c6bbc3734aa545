#pragma once

#include "evm/libevm/event_handle.h"

/// Records on their way out of and into the process. For the event library, the daemon and the
/// tools that read files of records; programs use evm.h.
///
/// To take a record that came from outside as bytes: _evmEventWrap, which believes nothing. To read
/// one piece by piece: _evmRecordSize of its first 120 bytes, then the rest, then _evmEventWrap.

namespace evm {

/// Fills the communication header, which is not part of the checksum.
void _evmHeaderFill(std::span<std::byte> message);

/// Prepares an event's record for writing, header and checksum, and returns it: it is sent or
/// written as it lies. Valid until the event changes.
Bytes _evmEventPrepare(EvmEventHandle_s& event);

/// The size of the record that begins with these bytes, at least OLD_HEADER_SIZE of them:
/// EvmERROR_INVALID_VALUE when they do not begin a record or when it is longer than RECORD_MAX, so
/// that a reader can trust the size before it allocates.
EvmStatus_t _evmRecordSize(Bytes start, std::size_t& size);

/// Whether every block lies inside the record and every name and string ends inside its block. To
/// be asked before anything else of a record from outside is believed.
EvmStatus_t _evmStructureTest(Bytes record);

/// The rest of what makes a record a valid event: identifiers, checksum, name and priority.
EvmStatus_t _evmRecordValidate(Bytes record);

/// Takes a record from outside, `length` bytes in a heap block of its own, as an event: its
/// structure and checksum are tested, an old version is translated, and the result is validated.
/// On failure the record is released and `*event` is null.
EvmStatus_t _evmEventAccept(HeapPtr<std::byte> record, std::size_t length, EvmEvent_t* event);

/// Makes an event of a copy of the record that a received buffer begins with; likewise.
EvmStatus_t _evmEventWrap(Bytes received, EvmEvent_t* event);

} // namespace evm
