#pragma once

#include "platform/include/threads.h"

#include <cstddef>
#include <cstdint>

/// The text form of thread tints, shared by every layer that prints or reads one.

inline constexpr std::size_t TINT_TEXT_SIZE = 40;

/// Tells the utility layer under which key threads hold their tint.
int clsvorn_utl_initialize_tinting(sltskey key);
/// Text form of a tint with its NUL, as "{16 hexadecimal digits}"; 0 on success.
int clsvorn_utl_stringify_tint(std::uint64_t tint, char* buffer, std::size_t size);
/// The reverse; non-zero leaves *tint alone when the text is no tint.
int clsvorn_utl_destringify_tint(const char* text, std::uint64_t* tint);
