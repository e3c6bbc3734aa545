#pragma once

#include "daemons/vornd/Profile.h"
#include "daemons/vornd/ResourceModel.h"

#include <sys/stat.h>

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace vornd {

/// What tells one content of a file from another without reading it.
struct FileStamp {
    dev_t device = 0;
    ino_t inode = 0;
    off_t size = 0;
    std::int64_t modified_ns = 0;
    std::int64_t changed_ns = 0;

    bool operator==(const FileStamp&) const = default;
};

/// An open folder, read through its descriptor: what is looked at and what is opened is in the same
/// folder, whatever happens to its path meanwhile.
class Folder {
public:
    /// `error` is 0, or the system's reason why the folder cannot be opened.
    Folder(const std::string& path, int& error);
    ~Folder();
    Folder(const Folder&) = delete;
    Folder& operator=(const Folder&) = delete;

    /// Visible names with the extension, in ascending byte order; nothing when reading fails.
    [[nodiscard]] std::optional<std::vector<std::string>> list(const std::string& extension) const;

    enum class Outcome {
        done,
        absent,   ///< there is no such file (any more)
        changing, ///< somebody is writing it
        refused,  ///< `reason` says why
    };
    /// The stamp of a regular file; a symbolic link is none.
    Outcome look(const std::string& name, FileStamp& stamp, std::string& reason) const;
    /// The content of a file that still bears that stamp.
    Outcome read(const std::string& name, const FileStamp& stamp, std::string& content,
                 std::string& reason) const;

private:
    int m_descriptor = -1;
};

/// Largest profile in bytes: dozens of attributes fit; a larger file is none.
inline constexpr std::size_t MAX_PROFILE_SIZE = 256 * 1024;

/// Reads a profile of the caller's choice. True with `resource` filled, or false with `fault`
/// filled and `resource` unspecified: the file is no regular one (a link to one is followed), is
/// larger than MAX_PROFILE_SIZE, cannot be read, or is no profile. The path is not part of the
/// reason.
[[nodiscard]] bool readProfileFile(const std::string& path, Resource& resource,
                                   ProfileFault& fault);

} // namespace vornd
