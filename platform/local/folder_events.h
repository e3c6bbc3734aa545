#pragma once

#include "platform/local/descriptor.h"

#include <string>
#include <string_view>

namespace platform {

/// What happens to the entries of one folder, as the kernel reports it: entries that come, go, or
/// are closed after writing. While the kernel cannot report (the folder is missing, or the system's
/// limit of watches is reached) an event is claimed once a second, so that callers look themselves.
/// One thread uses it at a time.
class FolderEvents {
public:
    explicit FolderEvents(std::string folder);

    /// Waits for an event of the folder itself or of an entry whose name begins with `prefix`;
    /// false when `timeout_ms` (below 0: never) is over first.
    bool wait(int timeout_ms, std::string_view prefix);

    /// Begins to watch, if that is possible; wait does it, too.
    bool attach();

private:
    bool take(std::string_view prefix);

    std::string m_folder;
    Descriptor m_notify;
    int m_watch = -1;
};

} // namespace platform
