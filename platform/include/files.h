#pragma once

#include <cstddef>
#include <cstdint>

/// Reading and writing through the caller's descriptors. Interruptions are repeated; a descriptor
/// that does not block fails where it would have to wait.

/// Writes all bytes; false with errno set. A reader that is gone raises no signal, whatever the
/// process does with signals otherwise.
bool write_all(int fd, const void* bytes, std::size_t length);

/// Reads until the area is full, the end or a fault, which `failed` tells; how many bytes came.
std::size_t read_up_to(int fd, void* area, std::size_t length, bool& failed);

/// Moves to an offset from the beginning; false when the descriptor has none such.
bool seek_to(int fd, std::int64_t offset);
