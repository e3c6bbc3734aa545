#pragma once

#include "platform/include/registry.h"
#include "platform/local/descriptor.h"

#include <fcntl.h>
#include <sys/stat.h>

#include <cstddef>
#include <functional>
#include <memory>
#include <span>
#include <string>
#include <string_view>

/// System calls of the store. Failures leave errno set; interrupted calls are repeated here.

namespace platform::registry {

/// Opens `path` (relative, plain components; "" is `folder` itself) below `folder`, following no
/// symbolic link. O_CLOEXEC and O_NOFOLLOW are added to `flags`. Paths of any length.
Descriptor open_beneath(int folder, std::string_view path, int flags);
/// The same one component at a time, for kernels that cannot do it in one call.
Descriptor open_stepwise(int folder, std::string_view path, int flags);

/// Opens a value without waiting for what may stand in its place.
inline constexpr int OPEN_VALUE = O_RDONLY | O_NONBLOCK | O_NOCTTY;
/// Opens a folder to read, change or lock its entries.
inline constexpr int OPEN_FOLDER = O_RDONLY | O_DIRECTORY;
/// Opens whatever stands there, only to look at it or pass through.
inline constexpr int OPEN_PLACE = O_PATH;

/// 0, or -1 with errno; the target must not exist, or both exchange.
int rename_new(int from_folder, const std::string& from, int to_folder, const std::string& to);
int rename_exchange(int from_folder, const std::string& from, int to_folder, const std::string& to);

/// Status of an entry itself. False with errno.
bool status_of_entry(int folder, const std::string& entry, struct stat& status);
bool same_inode(const struct stat& one, const struct stat& other);

/// Calls `visit` with every entry's name but "." and ".." and its type (DT_...). The list is taken
/// in one system call, which is one moment in the folder's life. False with errno.
bool list_folder(int folder, const std::function<void(std::string_view, unsigned char)>& visit);

/// Writes everything, and waits until it is on the disk when `durable`. False with errno, EFBIG
/// instead of the signal that the file size limit would raise.
bool write_file(int fd, std::string_view bytes, bool durable);
/// False with errno.
bool make_durable(int fd);

/// The bytes of a file up to a bound, read in as few calls as possible.
class FileBytes {
public:
    /// False with errno. Reads at most `limit` bytes.
    bool read(int fd, std::size_t limit);
    [[nodiscard]] std::span<const std::byte> bytes() const;

private:
    static constexpr std::size_t SMALL = 2048; ///< nearly every value
    std::byte m_small[SMALL];
    std::unique_ptr<std::byte[]> m_large;
    std::size_t m_size = 0;
};

} // namespace platform::registry
