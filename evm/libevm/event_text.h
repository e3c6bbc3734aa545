#pragma once

#include "evm/libevm/record.h"
#include "evm/libevm/text_buffer.h"

#include <cstdint>
#include <string_view>

/// Whole events as one line of text.

namespace evm {

/// The event's own template behind the repeat count, or the default line.
void putOneLine(TextBuffer& out, Bytes record, std::uint32_t options);
void putDefaultLine(TextBuffer& out, Bytes record);

/// An event's own template.
void putOwnTemplate(TextBuffer& out, Bytes record, std::string_view text);
/// A caller's template, which may name the one-line message.
void putCallersTemplate(TextBuffer& out, Bytes record, std::string_view text);

} // namespace evm
