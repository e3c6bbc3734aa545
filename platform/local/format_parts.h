#pragma once

#include <cstddef>
#include <string_view>

/// What the files of message formatting share.

struct lsfctx;

/// The process's message-formatting context. Constant-initialised, never destroyed.
lsfctx* default_format_context();

/// Length of the longest prefix of `text` of at most `limit` bytes that splits no UTF-8 sequence.
std::size_t prefix_length(std::string_view text, std::size_t limit);
