#include "evm/libevm/exchange.h"

#include <unistd.h>

#include <array>
#include <cerrno>
#include <csignal>
#include <ctime>

using namespace evm;

namespace {

/// Data blocks of these types may stand in a file.
constexpr std::uint16_t FIRST_BLOCK_TYPE = 1;
constexpr std::uint16_t LAST_BLOCK_TYPE = 3;

/// For a scope, a reader that is gone fails a write and raises no signal, whatever the process does
/// with signals otherwise.
class BrokenPipeGuard {
public:
    BrokenPipeGuard() {
        sigemptyset(&m_pipe);
        sigaddset(&m_pipe, SIGPIPE);
        sigset_t pending;
        sigpending(&pending);
        m_foreign = sigismember(&pending, SIGPIPE) == 1;
        pthread_sigmask(SIG_BLOCK, &m_pipe, &m_before);
    }
    ~BrokenPipeGuard() {
        const int saved = errno;
        constexpr std::timespec AT_ONCE{0, 0};
        if (m_raised && !m_foreign) sigtimedwait(&m_pipe, nullptr, &AT_ONCE);
        pthread_sigmask(SIG_SETMASK, &m_before, nullptr);
        errno = saved;
    }
    BrokenPipeGuard(const BrokenPipeGuard&) = delete;
    BrokenPipeGuard& operator=(const BrokenPipeGuard&) = delete;

    void noteRaised() { m_raised = true; }

private:
    sigset_t m_pipe{};
    sigset_t m_before{};
    bool m_foreign = false; ///< pending before: not ours to take away
    bool m_raised = false;
};

bool writeAll(int fd, Bytes bytes) {
    BrokenPipeGuard guard;
    while (!bytes.empty()) {
        const ssize_t count = write(fd, bytes.data(), bytes.size());
        if (count > 0) {
            bytes = bytes.subspan(static_cast<std::size_t>(count));
        } else if (count == 0 || errno != EINTR) {
            if (count < 0 && errno == EPIPE) guard.noteRaised();
            return false;
        }
    }
    return true;
}

/// Reads until the bytes are full, the end or a fault; how many were read.
std::size_t readUpTo(int fd, std::span<std::byte> bytes, bool& failed) {
    std::size_t filled = 0;
    failed = false;
    while (filled < bytes.size()) {
        const ssize_t count = read(fd, bytes.data() + filled, bytes.size() - filled);
        if (count > 0)
            filled += static_cast<std::size_t>(count);
        else if (count == 0)
            break;
        else if (errno != EINTR) {
            failed = true;
            break;
        }
    }
    return filled;
}

using Header = std::array<std::byte, HEADER_SIZE>;

/// EvmERROR_EOF when there is nothing at all.
EvmStatus_t readHeader(int fd, Header& header) {
    bool failed = false;
    const std::size_t count = readUpTo(fd, header, failed);
    if (count == header.size()) return EvmERROR_NONE;
    return count == 0 && !failed ? EvmERROR_EOF : EvmERROR_READ;
}

} // namespace

EvmStatus_t EvmEventWriteFD(int p_fileDes, EvmEvent_t p_ev_p) {
    if (!isLive(p_ev_p)) return EvmERROR_INVALID_ARGUMENT;
    return writeAll(p_fileDes, _evmEventPrepare(*p_ev_p)) ? EvmERROR_NONE : EvmERROR_WRITE;
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
    if (readUpTo(p_fileDes, {record.get() + HEADER_SIZE, rest}, failed) != rest)
        return EvmERROR_READ;
    return _evmEventAccept(std::move(record), size, p_ev_p);
}

EvmStatus_t EvmEventFileWalk(int p_fileDes, int64_t p_offset, uint32_t* p_blockType_p,
                             int64_t* p_next_p) {
    if (p_blockType_p == nullptr || p_next_p == nullptr) return EvmERROR_INVALID_ARGUMENT;
    *p_blockType_p = EvmDATABLOCK_NONE;
    *p_next_p = 0;
    if (lseek(p_fileDes, p_offset, SEEK_SET) < 0) return EvmERROR_INVALID_ARGUMENT;
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
