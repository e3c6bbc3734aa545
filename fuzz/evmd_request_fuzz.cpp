#include "daemons/evmd/Request.h"
#include "evm/libevm/checksum.h"
#include "evm/libevm/exchange.h"

#include <algorithm>
#include <cstdlib>
#include <vector>

namespace {

constexpr std::uint32_t SESSION = 1;
constexpr std::uint32_t LONGEST = 64 * 1024;
const evmd::Peer PEER{{4711}, {1000, 0}};

void require(bool condition) {
    if (!condition) std::abort();
}

/// What is granted must be what the bytes say.
void judge(evm::Bytes message) {
    EvmCommHead_t head{};
    if (evmd::judgeConnectHeader(message, head) == 0)
        require(head.type == EvmCOMM_CONNECT_REQ && head.bodySize < 1024);
    if (evmd::judgeRequest(message, SESSION, head) == evmd::Request::POST)
        require(head.sessionID == SESSION && head.bodySize <= evm::BODY_MAX);
    evm::ConnectRequest request;
    if (evmd::judgeConnectBody(message, PEER) == 0)
        require(evm::decodeConnect(message, request) == EvmERROR_NONE &&
                request.kind == evm::ConnectKind::POST && request.process.pid == PEER.process.pid);
}

/// An accepted record is sound once it is prepared, and is then accepted as it lies.
void take(evm::Bytes message) {
    evmd::EventPointer event;
    const std::uint32_t flags = evmd::judgeRecord(message, LONGEST, event);
    require((flags == 0) == (event != nullptr));
    if (event == nullptr) return;
    const evm::Bytes record = evm::_evmEventPrepare(*event);
    evmd::EventPointer again;
    require(evm::_evmStructureTest(record) == EvmERROR_NONE);
    require(evmd::judgeRecord(record, LONGEST + 8, again) == 0);
    require(std::ranges::equal(record, evm::_evmEventPrepare(*again)));
}

} // namespace

/// Every message is judged as everything that it may be taken for; a record also with its size and
/// checksum put right, so that the rest of it is reached.
extern "C" int LLVMFuzzerTestOneInput(const unsigned char* data, std::size_t size) {
    const void* const begin = data;
    std::vector<std::byte> bytes(static_cast<const std::byte*>(begin),
                                 static_cast<const std::byte*>(begin) + size);
    judge(bytes);
    take(bytes);
    const std::span<std::byte> record(bytes);
    evm::store(record, offsetof(EvmEventHead_t, control.size), static_cast<std::uint32_t>(size));
    evm::_evmChecksumClear(record);
    take(bytes);
    return 0;
}
