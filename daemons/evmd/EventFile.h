#pragma once

#include "daemons/evmd/RecordScan.h"
#include "daemons/vornd/Descriptor.h"

#include <cstdint>
#include <span>
#include <string>
#include <vector>

namespace evmd {

/// A record to be stored, and whether it is.
struct FileEntry {
    evm::Bytes record;
    bool stored = false; ///< it is on the disk
};

/// The file of records: whole records one after another, exactly as they lie in memory.
///
/// There is one writer of a file, which holds a lock on PATH.lock as long as it lives. A file that
/// would grow beyond `rotateSize` is renamed to PATH.1 first, and the older ones to PATH.2 and so
/// on, of which KEPT are kept. A file that somebody else moved or removed is begun anew. Used by
/// one thread at a time.
class EventFile {
public:
    /// Enough for a look back; together with the size it bounds the space that events take.
    static constexpr unsigned KEPT = 8;

    /// Takes the file over from whoever wrote it before: an interrupted last record is cut off, and
    /// a file that is damaged otherwise is put aside as PATH.damaged.N. Throws FileError.
    EventFile(std::string path, std::uint64_t rotateSize);

    /// Appends prepared records, with one write, and makes them durable. When that fails they are
    /// tried one by one, and nothing of one that does not get in stays in the file.
    void append(std::span<FileEntry> entries);

private:
    void takeOver();
    [[nodiscard]] FileContents contentsOf(const vornd::Descriptor& file) const;
    bool followPath();
    void makeRoomFor(std::size_t length);
    void appendRun(std::span<FileEntry> run);
    bool gather(std::span<const FileEntry> run);
    bool put(evm::Bytes bytes);
    bool cutBack();
    void note(int error);

    const std::string m_path;
    const std::uint64_t m_rotateSize;
    const vornd::Descriptor m_lock;
    vornd::Descriptor m_file;
    std::uint64_t m_size = 0; ///< of the whole records in it
    bool m_torn = false;      ///< something behind them could not be cut off yet
    int m_failure = 0;        ///< why the last record could not be stored; 0 when it was
    std::vector<std::byte> m_batch;
};

} // namespace evmd
