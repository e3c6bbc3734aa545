#pragma once

#include "platform/include/message_format.h"

#include <array>
#include <cstddef>
#include <span>

/// The library's texts: message catalog of product "evm", facility "EVM", in the language of the
/// environment.

namespace evm {

inline constexpr int MESSAGE_SET_STATUS = 11;
inline constexpr int MESSAGE_SET_LABELS = 19;
/// The longest text with its NUL; longer ones are cut.
inline constexpr std::size_t MESSAGE_SIZE = 1024;

/// A text's number in the catalog.
constexpr int messageNumber(int set, int id) {
    return (set - 1) * 100 + id;
}

/// Fetches a text from the catalog, cut to the buffer; false when the catalog has none.
bool _evmMsgFind(int set, int id, char* buffer, std::size_t size);
/// Likewise, or the default text.
void _evmMsgGet(int set, int id, const char* defaultText, char* buffer, std::size_t size);

void _evmErrorMsgPrint(int set, int id, std::span<const FormatArgument> arguments);

/// Prints a message with its number on standard error. The text's placeholders are filled with the
/// arguments as far as they fit it.
template <class... Arguments>
void _evmErrorMsg(int set, int id, const Arguments&... arguments) {
    const std::array<FormatArgument, sizeof...(Arguments)> values{FormatArgument(arguments)...};
    _evmErrorMsgPrint(set, id, values);
}

/// Prints the local time on standard error, as the beginning of a line.
void _evmTimestampPrint();

} // namespace evm
