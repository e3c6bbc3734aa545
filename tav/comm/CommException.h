#pragma once

#include "cppgen/clsException.h"

#include <string>

namespace TAV {

/// A recoverable communication or stream failure. Texts carry the place of the raise (raiseText).
class IOException : public cls::Exception {
public:
    explicit IOException(const std::string& message) : Exception(message) {}
    [[nodiscard]] std::string className() const override { return "IOException"; }
};

/// The local host or node name cannot be found.
class UnknownHostException : public IOException {
public:
    explicit UnknownHostException(const std::string& message) : IOException(message) {}
    [[nodiscard]] std::string className() const override { return "UnknownHostException"; }
};

/// The communication layer reports a fatal error: nothing more can be sent or received.
class FatalCommsException : public cls::Exception {
public:
    explicit FatalCommsException(const std::string& message) : Exception(message) {}
    [[nodiscard]] std::string className() const override { return "FatalCommsException"; }
};

/// A listening endpoint is already in use.
class EndPointException : public FatalCommsException {
public:
    explicit EndPointException(const std::string& message) : FatalCommsException(message) {}
    [[nodiscard]] std::string className() const override { return "EndPointException"; }
};

/// Throws an Error that carries `text` and the place of the call.
template <class Error>
[[noreturn]] void raiseAs(const std::string& text, const char* file = __builtin_FILE(),
                          int line = __builtin_LINE()) {
    throw Error(cls::raiseText(text, file, line));
}

} // namespace TAV
