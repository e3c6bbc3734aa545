#include "evm/libevm/exchange.h"

#include "evm/libevm/checksum.h"
#include "evm/libevm/names.h"

namespace evm {

namespace {

constexpr std::uint16_t MESSAGE_TYPE = 1;
constexpr std::uint8_t PRODUCT_MAJOR = 9;
constexpr std::uint8_t PRODUCT_MINOR = 2;
constexpr std::uint8_t PROTOCOL_MAJOR = 1;
constexpr std::uint8_t PROTOCOL_MINOR = 0;

bool isOldVersion(Bytes record) {
    return load<std::uint32_t>(record, offsetof(EvmEventHead_t, ext_item_id)) !=
           EvmITEM_HDR_EXT_SIZE;
}

/// A version 1 record with the header extension put in; null without memory.
HeapPtr<std::byte> translated(Bytes old) {
    constexpr std::size_t EXTENSION = HEADER_SIZE - OLD_HEADER_SIZE;
    const std::size_t size = old.size() + EXTENSION;
    auto made = heapArray<std::byte>(size);
    if (made == nullptr) return nullptr;
    const std::span<std::byte> record(made.get(), size);
    auto head = EvmEventHead_t{};
    std::memcpy(&head, old.data(), OLD_HEADER_SIZE);
    head.control.size = static_cast<std::uint32_t>(size);
    head.version = RECORD_VERSION;
    head.magic = RECORD_MAGIC;
    head.ext_item_id = EvmITEM_HDR_EXT_SIZE;
    head.ext_item_len = EXTENSION;
    store(record, 0, head);
    if (old.size() > OLD_HEADER_SIZE)
        std::memcpy(made.get() + HEADER_SIZE, old.data() + OLD_HEADER_SIZE,
                    old.size() - OLD_HEADER_SIZE);
    if ((head.flags >> EvmFLAG_CHECKSUM_PRESENT & 1U) != 0) {
        _evmChecksumClear(record);
        _evmChecksumInsert(record);
    }
    return made;
}

} // namespace

void _evmHeaderFill(std::span<std::byte> message) {
    EvmCommunicationHeader_t header{};
    header.size_clscmsgh = static_cast<std::uint32_t>(message.size());
    header.type_clscmsgh = MESSAGE_TYPE;
    header.majorproduct_clscversinf = PRODUCT_MAJOR;
    header.minorproduct_clscversinf = PRODUCT_MINOR;
    header.majorprotocol_clscversinf = PROTOCOL_MAJOR;
    header.minorprotocol_clscversinf = PROTOCOL_MINOR;
    store(message, 0, header);
}

Bytes _evmEventPrepare(EvmEventHandle_s& event) {
    const std::span<std::byte> record = recordOf(event);
    _evmHeaderFill(record);
    _evmChecksumInsert(record);
    return record;
}

EvmStatus_t _evmRecordSize(Bytes start, std::size_t& size) {
    size = controlSize(start);
    const bool sound =
        start.size() >= OLD_HEADER_SIZE &&
        load<std::uint16_t>(start, offsetof(EvmEventHead_t, control.ident)) == RECORD_IDENT &&
        size >= OLD_HEADER_SIZE && size <= RECORD_MAX;
    return sound ? EvmERROR_NONE : EvmERROR_INVALID_VALUE;
}

EvmStatus_t _evmRecordValidate(Bytes record) {
    const bool identified =
        load<std::uint16_t>(record, offsetof(EvmEventHead_t, control.ident)) == RECORD_IDENT &&
        !isOldVersion(record);
    if (!identified || _evmChecksumTest(record) != EvmERROR_NONE) return EvmERROR_INVALID_VALUE;
    ItemView item;
    if (readItem(record, EvmITEM_NAME, item) == EvmERROR_NONE &&
        _evmNameCheck(item.text, false, nullptr) != EvmERROR_NONE)
        return EvmERROR_INVALID_VALUE;
    if (readItem(record, EvmITEM_PRIORITY, item) == EvmERROR_NONE && item.number > EvmPRIORITY_MAX)
        return EvmERROR_INVALID_VALUE;
    return EvmERROR_NONE;
}

EvmStatus_t _evmEventAccept(HeapPtr<std::byte> record, std::size_t length, EvmEvent_t* event) {
    *event = nullptr;
    Bytes bytes(record.get(), length);
    std::size_t size = 0;
    EvmStatus_t status = _evmRecordSize(bytes, size);
    if (status == EvmERROR_NONE && size != length) status = EvmERROR_INVALID_VALUE;
    if (status == EvmERROR_NONE) status = _evmStructureTest(bytes);
    if (status == EvmERROR_NONE) status = _evmChecksumTest(bytes);
    if (status != EvmERROR_NONE) return status;
    if (isOldVersion(bytes)) {
        record = translated(bytes);
        if (record == nullptr) return EvmERROR_NO_MEMORY;
        bytes = Bytes(record.get(), length + HEADER_SIZE - OLD_HEADER_SIZE);
    }
    status = _evmRecordValidate(bytes);
    return status == EvmERROR_NONE ? makeEvent(std::move(record), event) : status;
}

EvmStatus_t _evmEventWrap(Bytes received, EvmEvent_t* event) {
    *event = nullptr;
    std::size_t size = 0;
    const EvmStatus_t status = _evmRecordSize(received, size);
    if (status != EvmERROR_NONE) return status;
    if (size > received.size()) return EvmERROR_INVALID_VALUE;
    auto record = heapArray<std::byte>(size);
    if (record == nullptr) return EvmERROR_NO_MEMORY;
    std::memcpy(record.get(), received.data(), size);
    return _evmEventAccept(std::move(record), size, event);
}

} // namespace evm

EvmStatus_t EvmEventValidate(EvmEvent_t event) {
    if (event == nullptr) return EvmERROR_INVALID_ARGUMENT;
    return evm::isLive(event) ? evm::_evmRecordValidate(evm::recordOf(*event))
                              : EvmERROR_INVALID_VALUE;
}
