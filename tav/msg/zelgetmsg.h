#pragma once

namespace TAV {

/// The message facility of this product's texts.
inline constexpr const char* FACILITY = "VORN";

/// Fetches the bare text of a message into `buffer`, at most `size` bytes with the NUL. Returns 0
/// when it was found; -1 when not, when the facility has 8 characters or more, or when `number` is
/// 0; then the buffer holds an empty text. A null language is the environment's. `attribute` (may
/// be null) receives the message's severity when it was found. May be called from any thread.
int zelgetmsg(const char* facility, int number, char* buffer, int size, int* attribute,
              const char* language);

/// Lets module logging, which stands below this layer, find the texts of the alerts it prints.
void installMessageTextHook();

} // namespace TAV
