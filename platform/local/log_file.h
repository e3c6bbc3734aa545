#pragma once

#include "platform/include/threads.h"
#include "platform/local/descriptor.h"

#include <sys/stat.h>

#include <cstdint>
#include <string>
#include <string_view>

/// A log file that any number of threads and processes append to, each line with one write.
///
/// When a line would take the file beyond its limit the file is put aside: PATH becomes PATH.1, and
/// older ones move up to PATH.LOG_FILE_KEPT. The process that puts it aside holds an exclusive lock
/// on the file; the others go on writing, and notice before their next line that the path names
/// another file. Nothing here waits for a lock of another process. Thread-safe; never throws.
class LogFile {
public:
    /// How many files that were put aside are kept.
    static constexpr int LOG_FILE_KEPT = 4;
    /// Shortest time between two attempts after the file could not be opened or put aside.
    static constexpr std::uint64_t RETRY_MS = 1000;

    LogFile(std::string path, std::int64_t limit);
    LogFile(const LogFile&) = delete;
    LogFile& operator=(const LogFile&) = delete;

    /// Appends `line`, which ends with a line end. False when the line was not (wholly) written.
    bool append(std::string_view line) noexcept;

private:
    bool ready(std::size_t length);
    bool open();
    [[nodiscard]] bool isCurrent(const struct stat& status) const;
    void putAside();
    bool shiftFiles();
    bool write(std::string_view line);

    std::string m_path;
    std::int64_t m_limit;
    std::int64_t m_processLimit = 0; ///< no file of this process may grow beyond it
    cls_thrIMx m_mutex;
    platform::Descriptor m_file;
    dev_t m_device = 0;
    ino_t m_inode = 0;
    bool m_torn = false; ///< the last write ended inside a line
    std::uint64_t m_retryOpen = 0;
    std::uint64_t m_retryPutAside = 0;
};
