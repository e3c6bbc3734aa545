#include "evm/libevm/exchange.h"
#include "platform/include/files.h"

#include <array>

using namespace evm;

namespace {

/// Data blocks of these types may stand in a file.
constexpr std::uint16_t FIRST_BLOCK_TYPE = 1;
constexpr std::uint16_t LAST_BLOCK_TYPE = 3;

using Header = std::array<std::byte, HEADER_SIZE>;

/// EvmERROR_EOF when there is nothing at all.
EvmStatus_t readHeader(int fd, Header& header) {
    bool failed = false;
    const std::size_t count = read_up_to(fd, header.data(), header.size(), failed);
    if (count == header.size()) return EvmERROR_NONE;
    return count == 0 && !failed ? EvmERROR_EOF : EvmERROR_READ;
}

} // namespace

EvmStatus_t EvmEventWriteFD(int p_fileDes, EvmEvent_t p_ev_p) {
    if (!isLive(p_ev_p)) return EvmERROR_INVALID_ARGUMENT;
    const Bytes record = _evmEventPrepare(*p_ev_p);
    return write_all(p_fileDes, record.data(), record.size()) ? EvmERROR_NONE : EvmERROR_WRITE;
}

EvmStatus_t EvmEventReadFD(int p_fileDes, EvmEvent_t* p_ev_p) {
    if (p_ev_p == nullptr) return EvmERROR_INVALID_ARGUMENT;
    *p_ev_p = nullptr;
    Header header;
    EvmStatus_t status = readHeader(p_fileDes, header);
    std::size_t size = 0;
    if (status == EvmERROR_NONE) status = _evmRecordSize(header, size);
    if (status != EvmERROR_NONE) return status;
    if (size < HEADER_SIZE) return EvmERROR_INVALID_VALUE;
    HeapPtr<std::byte> record = heapArray<std::byte>(size);
    if (record == nullptr) return EvmERROR_NO_MEMORY;
    std::memcpy(record.get(), header.data(), header.size());
    const std::size_t rest = size - HEADER_SIZE;
    bool failed = false;
    if (read_up_to(p_fileDes, record.get() + HEADER_SIZE, rest, failed) != rest)
        return EvmERROR_READ;
    return _evmEventAccept(std::move(record), size, p_ev_p);
}

EvmStatus_t EvmEventFileWalk(int p_fileDes, int64_t p_offset, uint32_t* p_blockType_p,
                             int64_t* p_next_p) {
    if (p_blockType_p == nullptr || p_next_p == nullptr) return EvmERROR_INVALID_ARGUMENT;
    *p_blockType_p = EvmDATABLOCK_NONE;
    *p_next_p = 0;
    if (!seek_to(p_fileDes, p_offset)) return EvmERROR_INVALID_ARGUMENT;
    Header header;
    const EvmStatus_t status = readHeader(p_fileDes, header);
    if (status != EvmERROR_NONE) return status == EvmERROR_EOF ? EvmERROR_NONE : status;
    std::size_t size = 0;
    const auto type = load<std::uint16_t>(header, offsetof(EvmEventHead_t, control.blocktype));
    if (_evmRecordSize(header, size) != EvmERROR_NONE || type < FIRST_BLOCK_TYPE ||
        type > LAST_BLOCK_TYPE)
        return EvmERROR_READ;
    *p_blockType_p = type;
    *p_next_p = p_offset + static_cast<int64_t>(size);
    return EvmERROR_NONE;
}
