#pragma once

#include <cstddef>
#include <string>
#include <string_view>

/// Parts of error texts that come from outside: they stay on one line and within bounds.

/// `text` with control characters as "?", cut to `limit` bytes with "..." when it is longer.
std::string quotable(std::string_view text, std::size_t limit);

/// The end of `path` with "..." before it when the whole is longer than `limit` bytes: what tells
/// one file from another usually stands at the end.
std::string shorten_from_left(std::string_view path, std::size_t limit);

/// The system's text of an error number.
std::string system_error_text(int error);
