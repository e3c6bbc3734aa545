#pragma once

#include "platform/include/message_format.h"

#include <span>
#include <string_view>

namespace cls {

/// Appends to `list` what the message text asks for: at every conversion the next argument, or the
/// one that its position "(n)" names, converted to the type that the conversion wants. "%%" takes
/// none. The list has the order of the call, so that a text which names positions in another order
/// finds its arguments.
///
/// Conversions are s, d, u and f. Others, a position without end and arguments that the call did
/// not give are logged with the message's number and append nothing.
void appendErrorArguments(lsfctx* context, lsfdsc* list, int msgId, std::string_view text,
                          std::span<const FormatArgument> arguments);

} // namespace cls
