#include "daemons/evmd/EventFile.h"

#include "daemons/evmd/DaemonLog.h"
#include "daemons/evmd/FilePlace.h"

#include <sys/stat.h>

#include <new>
#include <utility>

namespace evmd {

namespace {

bool writeAt(int fd, evm::Bytes bytes, std::uint64_t offset) {
    while (!bytes.empty()) {
        const ssize_t count = pwrite(fd, bytes.data(), bytes.size(), static_cast<off_t>(offset));
        if (count < 0 && errno == EINTR) continue;
        if (count == 0) errno = ENOSPC;
        if (count <= 0) return false;
        bytes = bytes.subspan(static_cast<std::size_t>(count));
        offset += static_cast<std::uint64_t>(count);
    }
    return true;
}

} // namespace

EventFile::EventFile(std::string path, std::uint64_t rotateSize)
    : m_path(std::move(path)), m_rotateSize(rotateSize), m_lock(lockFile(m_path)) {
    takeOver();
}

/// Nothing of this object changes before the file at the path is known to be usable.
void EventFile::takeOver() {
    Descriptor file = openFile(m_path);
    FileContents contents = contentsOf(file);
    if (contents.state == FileState::DAMAGED) {
        logLine(m_path, " is damaged after ", contents.whole, " bytes (", contents.records,
                " records); it is now ", putAside(m_path));
        file = openFile(m_path);
        contents = FileContents();
    }
    m_file = std::move(file);
    m_size = contents.whole;
    m_torn = contents.state == FileState::TORN;
    if (!m_torn) return;
    if (!cutBack()) throw FileError("cannot cut " + printable(m_path) + ": " + systemError(errno));
    logLine(m_path, " ended inside a record; it was cut to ", m_size, " bytes");
}

FileContents EventFile::contentsOf(const Descriptor& file) const {
    struct stat status {};
    if (fstat(file.get(), &status) != 0)
        throw FileError("cannot read " + printable(m_path) + ": " + systemError(errno));
    FileWindow window(file.get(), static_cast<std::uint64_t>(status.st_size));
    return scanRecords(window);
}

void EventFile::append(std::span<FileEntry> entries) {
    if (!followPath()) return;
    while (!entries.empty()) {
        makeRoomFor(entries.front().record.size());
        std::size_t count = 0;
        std::uint64_t size = m_size;
        do size += entries[count++].record.size();
        while (count < entries.size() && size + entries[count].record.size() <= m_rotateSize);
        appendRun(entries.first(count));
        entries = entries.subspan(count);
    }
}

/// What nobody can find again is not stored: a file that is no longer at its path is given up.
bool EventFile::followPath() {
    if (isAtPath(m_file, m_path)) return true;
    logLine(m_path, " was taken away; it is begun anew");
    try {
        takeOver();
        return true;
    } catch (const FileError& error) {
        logLine(error.what());
        return false;
    }
}

/// A file that cannot be put away grows on: events are worth more than its size.
void EventFile::makeRoomFor(std::size_t length) {
    if (m_size == 0 || m_size + length <= m_rotateSize || (m_torn && !cutBack())) return;
    Descriptor next = beginNext(m_path, KEPT);
    if (!next) return logLine("cannot put ", m_path, " away: ", systemError(errno));
    m_file = std::move(next);
    m_size = 0;
}

void EventFile::appendRun(std::span<FileEntry> run) {
    const bool together = run.size() > 1 && gather(run) && put(m_batch);
    for (FileEntry& entry : run) entry.stored = together || put(entry.record);
}

/// False without memory for all of them.
bool EventFile::gather(std::span<const FileEntry> run) {
    try {
        m_batch.clear();
        for (const FileEntry& entry : run)
            m_batch.insert(m_batch.end(), entry.record.begin(), entry.record.end());
        return true;
    } catch (const std::bad_alloc&) {
        return false;
    }
}

bool EventFile::put(evm::Bytes bytes) {
    if (m_torn && !cutBack()) return false;
    const int fd = m_file.get();
    const bool stored = writeAt(fd, bytes, m_size) && fdatasync(fd) == 0;
    const int error = stored ? 0 : errno;
    m_torn = !stored;
    if (stored)
        m_size += bytes.size();
    else
        cutBack();
    note(error);
    return stored;
}

bool EventFile::cutBack() {
    if (ftruncate(m_file.get(), static_cast<off_t>(m_size)) != 0) return false;
    m_torn = false;
    return true;
}

/// One line when storing begins to fail, and one when it goes on.
void EventFile::note(int error) {
    if (std::exchange(m_failure, error) == error) return;
    if (error != 0)
        logLine("events cannot be stored in ", m_path, ": ", systemError(error));
    else
        logLine("events are stored in ", m_path, " again");
}

} // namespace evmd
