#pragma once

#include "platform/include/registry.h"

#include <cstddef>
#include <span>
#include <string>

/// The file that holds a value. Pure functions over its bytes.
///
/// | offset | bytes | |
/// | --- | --- | --- |
/// | 0 | 4 | "VRGV" |
/// | 4 | 1 | version of the layout, 1 |
/// | 5 | 1 | type of the value, 0 to 5 |
/// | 6 | 2 | 0 |
/// | 8 | 4 | length of the value in bytes, at most 65535 |
/// | 12 | 4 | CRC-32 (polynomial 0xEDB88320) of bytes 0 to 11 and the value |
/// | 16 | length | the value; the file ends with it |
///
/// Numbers are little-endian. The text "up" with its NUL is
/// 56 52 47 56  01 03 00 00  03 00 00 00  1B F9 39 C8  75 70 00.

namespace platform::registry {

inline constexpr std::size_t VALUE_HEADER = 16;
inline constexpr std::size_t VALUE_FILE_MAX = VALUE_HEADER + PRZKS_MAX_VALUE;

struct Value {
    przks_dtype type = przks_dtype_NOVALUE;
    std::span<const std::byte> bytes;
};

/// What is wrong with a value that a caller wants to store; null when nothing is.
const char* fault_of(const Value& value);

std::string encode_value(const Value& value);
/// Null, and `value` points into `file`; or what is wrong with the file, and `value` is untouched.
const char* decode_value(std::span<const std::byte> file, Value& value);

} // namespace platform::registry
