#pragma once

#include "daemons/vornd/Descriptor.h"

#include <string>

/// The event file's place in its folder: PATH, its lock PATH.lock, the older files PATH.1, PATH.2
/// and so on, and PATH.damaged.N. Files are renamed, never copied.
namespace evmd {

using vornd::Descriptor;

/// Takes the lock of whoever writes PATH, as long as the result lives. The lock file stays:
/// removing it would let two processes each hold a lock of that name. Throws FileError.
Descriptor lockFile(const std::string& path);

/// Opens PATH, which is created when it is missing. Throws FileError when that cannot be or it is
/// no regular file.
Descriptor openFile(const std::string& path);

/// Whether PATH is the open file.
bool isAtPath(const Descriptor& file, const std::string& path);

/// Makes room at PATH by renaming it to PATH.1 and what older ones there are to the next number, up
/// to `kept`, and gives the empty file that is at PATH now; none with errno set on failure.
Descriptor beginNext(const std::string& path, unsigned kept);

/// Renames PATH to PATH.damaged.N, the first N that is free, and returns that name. Throws
/// FileError.
std::string putAside(const std::string& path);

/// Makes the folder's names durable; false with errno set.
bool syncFolder(const std::string& path);

} // namespace evmd
