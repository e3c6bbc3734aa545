#pragma once

#include "evm/libevm/text_buffer.h"
#include "evm/libevm/variable.h"

#include <cstddef>
#include <span>
#include <string_view>

/// Item and variable values as text.

namespace evm {

/// Room for every value that is not a text of its own; longer ones are cut.
inline constexpr std::size_t VALUE_TEXT_SIZE = 1024;

/// Where a text is made; at least VALUE_TEXT_LEAST bytes.
using Area = std::span<char>;
/// Room for every number and time.
inline constexpr std::size_t VALUE_TEXT_LEAST = 64;

/// The text of an item's value: the item's own for a string item, else made in `area`.
std::string_view itemText(EvmItemId_t id, const ItemView& value, Area area);

/// The text of a variable's value: the variable's own for a string, else made in `area`.
std::string_view variableText(const Variable& variable, Area area);

/// Puts a variable's value. With `translate` a string is made printable.
void putVariable(TextSink& out, const Variable& variable, bool translate);

} // namespace evm
