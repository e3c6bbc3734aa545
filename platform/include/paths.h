#pragma once

#include <cstddef>

/// Joins path components with "/" into `buffer`; the list ends with a null `const char*`.
/// Returns 0; non-zero (and an empty buffer) when a component is empty (a path below a home that is
/// not there must not become one below the root) or the result with its NUL does not fit `size`.
int clsp_addToPath(char* buffer, std::size_t size, const char* first, ...);

/// Forms directory/name, or directory/name.extension when `extension` is neither null nor empty.
/// Returns 0; non-zero (and an empty buffer) when the directory or the name is empty or null or the
/// result does not fit.
int clsp_getFile(char* buffer, std::size_t size, const char* directory, const char* name,
                 const char* extension);

/// Reads standard input up to its end or `size` - 1 bytes; `buffer` is NUL-terminated also on
/// failure. Returns the number of bytes read, -1 on failure.
int clsp_readStdin(char* buffer, int size);
