#pragma once

#include <string>

/// Texts that the users of the communication layer share.
namespace TAV {

inline constexpr const char* FATAL_TEXT = "CLSC Fatal Communications failure";
inline constexpr const char* QUIESCING = " CLEANUP: quiesceing connection ";

/// A text of the layer (zero-terminated, null when there is none).
inline std::string layerText(const unsigned char* text) {
    return text == nullptr ? std::string() : reinterpret_cast<const char*>(text);
}

} // namespace TAV
