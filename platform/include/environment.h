#pragma once

#include <cstddef>
#include <cstdint>

/// Copies the environment variable into `buffer`, at most `maxchars` characters and always a NUL
/// after them (so the buffer holds maxchars + 1). Returns the length of what was copied; 0 when the
/// variable is unset or empty. `option` is accepted and not interpreted.
int slzgetevar(const char* name, char* buffer, std::size_t maxchars, unsigned option = 0);

/// Decimal value of a text of `length` bytes: leading blanks, sign and digits; 0 when there is no
/// number; saturated when it does not fit.
std::int32_t lcvb24(const char* text, std::size_t length);

/// lcvb24 of a NUL-terminated or counted text; what C's atoi documents, without its undefined
/// cases.
std::int32_t parse_int32(const char* text, std::size_t length);
