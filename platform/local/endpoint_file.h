#pragma once

#include "platform/local/descriptor.h"

#include <sys/types.h>

#include <mutex>
#include <string>
#include <string_view>

namespace platform {

/// The place of a Unix-domain endpoint in the runtime folder: the socket KEY and the lock KEY.lock.
///
/// Whoever listens holds the lock as long as it listens, so that of two starters one wins, and only
/// the holder replaces what a dead predecessor left. The lock file itself stays: removing it would
/// let two processes each hold a lock of that name. Operations may be called from any thread.
class EndpointFile {
public:
    EndpointFile() = default;
    EndpointFile(const EndpointFile&) = delete;
    EndpointFile& operator=(const EndpointFile&) = delete;
    ~EndpointFile() { remove(); }

    /// Binds `socket` to the key's path, in a folder that is created when missing, open to all
    /// local users. CLSC_OK; CLSC_INUSE when somebody alive has it; CLSC_BADADDR when the path is
    /// too long; CLSC_REFUSED; CLSC_FATAL.
    int bind(int socket, const std::string& runtime_dir, std::string_view key);

    /// Removes the socket, if it is still the one that was bound, and gives up the lock.
    void remove();

private:
    int lock(const std::string& path);
    int bind_or_replace(int socket, const std::string& path);
    int note_identity(const std::string& path);

    std::mutex m_mutex;
    std::string m_path; ///< empty while nothing is bound
    dev_t m_device = 0;
    ino_t m_inode = 0;
    Descriptor m_lock;
};

} // namespace platform
