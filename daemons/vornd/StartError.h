#pragma once

#include <stdexcept>

namespace vornd {

/// Why the daemon cannot start: one line that says what to do about it.
class StartError : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

} // namespace vornd
