#include "daemons/evmd/RecordScan.h"

#include "daemons/evmd/DaemonLog.h"
#include "evm/libevm/exchange.h"

#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>

namespace evmd {

namespace {

constexpr std::size_t WINDOW_SIZE = 1024 * 1024;
/// Every block of a record is a multiple of 8 bytes, and so every record begins at one.
constexpr std::uint64_t STEP = 8;
/// What may be summed in search of a whole record behind a fault. Bytes that were made to look like
/// the beginnings of many long records shall not delay the start; they count as damage.
constexpr std::uint64_t SEARCH_BYTES = 1024ULL * 1024 * 1024;
constexpr std::uint16_t LAST_BLOCKTYPE = 3;

/// What every written record holds behind its size: message type 1, flags 0, versions.
constexpr std::array<std::uint8_t, 8> AFTER_SIZE{1, 0, 0, 0, 9, 2, 1, 0};
constexpr std::size_t RECOGNISABLE = sizeof(std::uint32_t) + AFTER_SIZE.size();

bool isSound(evm::Bytes record) {
    const auto flags = evm::load<std::uint32_t>(record, offsetof(EvmEventHead_t, flags));
    return (flags >> EvmFLAG_CHECKSUM_PRESENT & 1U) != 0 &&
           evm::_evmStructureTest(record) == EvmERROR_NONE &&
           evm::_evmRecordValidate(record) == EvmERROR_NONE;
}

/// The size that a record at an offset would have; 0 when none can begin there.
std::size_t sizeAt(FileWindow& file, std::uint64_t offset) {
    const evm::Bytes head = file.view(offset, evm::HEADER_SIZE);
    std::size_t size = 0;
    if (head.size() < evm::HEADER_SIZE || evm::_evmRecordSize(head, size) != EvmERROR_NONE)
        return 0;
    const auto type = evm::load<std::uint16_t>(head, offsetof(EvmEventHead_t, control.blocktype));
    const bool possible = type >= EvmDATABLOCK_EVENT && type <= LAST_BLOCKTYPE &&
                          size >= evm::HEADER_SIZE && size % STEP == 0;
    return possible && size <= file.size() - offset ? size : 0;
}

/// Whether a whole record begins anywhere from an offset on.
bool recordFollows(FileWindow& file, std::uint64_t offset) {
    std::uint64_t searched = 0;
    for (; offset < file.size(); offset += STEP) {
        const std::size_t size = sizeAt(file, offset);
        if (size == 0) continue;
        searched += size;
        if (searched > SEARCH_BYTES || isSound(file.view(offset, size))) return true;
    }
    return false;
}

bool isZero(FileWindow& file, std::uint64_t offset) {
    while (offset < file.size()) {
        const evm::Bytes bytes = file.view(offset, WINDOW_SIZE);
        if (std::ranges::any_of(bytes, [](std::byte byte) { return byte != std::byte{0}; }))
            return false;
        offset += bytes.size();
    }
    return true;
}

/// Whether what remains is the beginning of a record, or that and zero bytes: after a power failure
/// the file may be longer than what reached the disk. Anything else was never written by a daemon
/// that was interrupted.
bool isInterrupted(FileWindow& file, std::uint64_t offset) {
    const evm::Bytes head = file.view(offset, RECOGNISABLE);
    std::size_t at = std::min(sizeof(std::uint32_t), head.size());
    while (at < head.size() &&
           std::to_integer<std::uint8_t>(head[at]) == AFTER_SIZE[at - sizeof(std::uint32_t)])
        ++at;
    // Few bytes prove nothing in a file that holds no record at all.
    if (offset == 0 && at < RECOGNISABLE) return false;
    return at == RECOGNISABLE || isZero(file, offset + at);
}

FileState stateFrom(FileWindow& file, std::uint64_t whole) {
    if (whole == file.size()) return FileState::SOUND;
    const bool cuttable = isInterrupted(file, whole) && !recordFollows(file, whole + STEP);
    return cuttable ? FileState::TORN : FileState::DAMAGED;
}

} // namespace

evm::Bytes FileWindow::view(std::uint64_t offset, std::size_t length) {
    offset = std::min(offset, m_size);
    length = static_cast<std::size_t>(std::min<std::uint64_t>(length, m_size - offset));
    const bool known = offset >= m_start && offset + length <= m_start + m_bytes.size();
    if (!known) read(offset, std::max(length, WINDOW_SIZE));
    return evm::Bytes(m_bytes).subspan(static_cast<std::size_t>(offset - m_start), length);
}

void FileWindow::read(std::uint64_t offset, std::size_t length) {
    m_start = offset;
    m_bytes.resize(static_cast<std::size_t>(std::min<std::uint64_t>(length, m_size - offset)));
    for (std::size_t done = 0; done < m_bytes.size();) {
        const ssize_t count = pread(m_fd, m_bytes.data() + done, m_bytes.size() - done,
                                    static_cast<off_t>(offset + done));
        if (count > 0)
            done += static_cast<std::size_t>(count);
        else if (count == 0)
            throw FileError("it became shorter while it was read");
        else if (errno != EINTR)
            throw FileError("it cannot be read: " + systemError(errno));
    }
}

FileContents scanRecords(FileWindow& file) {
    FileContents contents;
    while (const std::size_t size = sizeAt(file, contents.whole)) {
        if (!isSound(file.view(contents.whole, size))) break;
        contents.whole += size;
        ++contents.records;
    }
    contents.state = stateFrom(file, contents.whole);
    return contents;
}

} // namespace evmd
