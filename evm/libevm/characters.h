#pragma once

#include <locale.h>

#include <cstddef>
#include <string_view>

namespace evm {

/// One character at the beginning of a text.
struct Character {
    std::size_t length; ///< in bytes
    bool printable;
    bool blank; ///< a space, or one that is shown as a space
};

/// Tells characters apart and what can be printed, in one character set, whatever locale the
/// program has set. The character set contains ASCII, as those of all environments do.
class CharacterSet {
public:
    /// By the name of a locale; "" is the environment's. An unknown name means ASCII.
    explicit CharacterSet(const char* localeName);
    ~CharacterSet();
    CharacterSet(const CharacterSet&) = delete;
    CharacterSet& operator=(const CharacterSet&) = delete;

    /// The one that the environment named when it was first asked for.
    static const CharacterSet& ofEnvironment();

    /// The first character of a text that is not empty. What is no character at all is one byte.
    [[nodiscard]] Character first(std::string_view text) const;
    [[nodiscard]] std::size_t count(std::string_view text) const;

private:
    [[nodiscard]] Character firstWide(std::string_view text) const;

    locale_t m_locale; ///< null: ASCII
};

/// What stands for a character: its own bytes when it is printable, else a space or "#".
inline std::string_view printableForm(const Character& character, std::string_view text) {
    if (character.printable) return text.substr(0, character.length);
    return character.blank ? " " : "#";
}

} // namespace evm
