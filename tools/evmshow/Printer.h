#pragma once

#include "evm/libevm/record.h"
#include "tools/evmshow/Output.h"

#include <memory>
#include <string>

namespace evmshow {

enum class Form : std::uint8_t {
    LINE,     ///< the event's one-line message
    TEMPLATE, ///< the user's template, and a line end
    DUMP,     ///< every item and variable
    VARIABLE, ///< one variable's value exactly as it is; nothing for an event without it
    COUNT,    ///< nothing for the single event
};

/// Prints events in one form. Except in the form VARIABLE nothing that a terminal would obey gets
/// through: what cannot be printed becomes a space or "#".
class Printer {
public:
    virtual ~Printer() = default;
    /// Takes the bytes of a sound record.
    virtual void print(evm::Bytes record) = 0;
};

/// `text` is the template or the variable's name. None for COUNT.
std::unique_ptr<Printer> makePrinter(Form form, const std::string& text, Output& out);

} // namespace evmshow
