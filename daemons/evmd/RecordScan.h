#pragma once

#include "evm/libevm/record.h"

#include <cstddef>
#include <cstdint>
#include <stdexcept>
#include <vector>

/// Finding out what a file of records holds, whoever wrote it and however it ended.
namespace evmd {

/// Why a file cannot be used: one line.
class FileError : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

/// A file's bytes, read piece by piece. The descriptor stays the caller's.
class FileWindow {
public:
    FileWindow(int fd, std::uint64_t size) : m_fd(fd), m_size(size) {}

    /// The bytes from an offset on, fewer at the end of the file; valid until the next call. Throws
    /// FileError when they cannot be read.
    evm::Bytes view(std::uint64_t offset, std::size_t length);
    [[nodiscard]] std::uint64_t size() const { return m_size; }

private:
    void read(std::uint64_t offset, std::size_t length);

    const int m_fd;
    const std::uint64_t m_size;
    std::uint64_t m_start = 0; ///< where m_bytes begins
    std::vector<std::byte> m_bytes;
};

enum class FileState {
    SOUND,   ///< whole records from the first to the last byte
    TORN,    ///< whole records, then one that was not written to its end
    DAMAGED, ///< anything else: nothing of it may be cut off
};

struct FileContents {
    FileState state = FileState::SOUND;
    std::uint64_t records = 0; ///< whole ones before the first fault
    std::uint64_t whole = 0;   ///< their bytes
};

/// Walks over a file. A record counts as whole when structure, checksum and items are those of a
/// record that this daemon wrote.
FileContents scanRecords(FileWindow& file);

} // namespace evmd
