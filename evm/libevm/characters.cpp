#include "evm/libevm/characters.h"

#include "platform/include/environment.h"
#include "platform/include/immortal.h"

#include <wchar.h>
#include <wctype.h>

#include <algorithm>

namespace evm {

namespace {

/// Sets the calling thread's locale for a scope; the program's own is untouched.
class LocaleScope {
public:
    explicit LocaleScope(locale_t locale) : m_previous(uselocale(locale)) {}
    ~LocaleScope() { uselocale(m_previous); }
    LocaleScope(const LocaleScope&) = delete;
    LocaleScope& operator=(const LocaleScope&) = delete;

private:
    locale_t m_previous;
};

/// Whether the environment asks for UTF-8, in whatever spelling.
bool environmentNamesUtf8() {
    static constexpr std::size_t NAME_MAX_LENGTH = 255; // longer locale names are none
    char name[NAME_MAX_LENGTH + 1];
    for (const char* const variable : {"LC_ALL", "LC_CTYPE", "LANG"}) {
        if (slzgetevar(variable, name, NAME_MAX_LENGTH) < 1) continue;
        std::string_view text(name);
        const std::size_t dot = text.find('.');
        if (dot == std::string_view::npos) return false;
        text = text.substr(dot + 1, text.find('@') - dot - 1);
        const auto is = [text](std::string_view wanted) {
            return std::ranges::equal(text, wanted, [](char a, char b) {
                return (a >= 'A' && a <= 'Z' ? a - 'A' + 'a' : a) == b;
            });
        };
        return is("utf-8") || is("utf8");
    }
    return false;
}

} // namespace

CharacterSet::CharacterSet(const char* localeName)
    : m_locale(newlocale(LC_CTYPE_MASK, localeName, nullptr)) {}

CharacterSet::~CharacterSet() {
    if (m_locale != nullptr) freelocale(m_locale);
}

const CharacterSet& CharacterSet::ofEnvironment() {
    // A locale may be named that is not installed: its character set is known all the same.
    static Immortal<CharacterSet> set(environmentNamesUtf8() ? "C.UTF-8" : "");
    return *set;
}

Character CharacterSet::first(std::string_view text) const {
    const auto byte = static_cast<unsigned char>(text.front());
    if (byte >= 0x80) return firstWide(text);
    const bool printable = byte >= ' ' && byte <= '~';
    return {1, printable, byte == ' ' || (byte >= '\t' && byte <= '\r')};
}

Character CharacterSet::firstWide(std::string_view text) const {
    constexpr Character NO_CHARACTER{1, false, false};
    if (m_locale == nullptr) return NO_CHARACTER;
    const LocaleScope scope(m_locale);
    wchar_t wide = 0;
    std::mbstate_t state{};
    const std::size_t length = std::mbrtowc(&wide, text.data(), text.size(), &state);
    if (length == 0 || length > text.size()) return NO_CHARACTER;
    const auto character = static_cast<std::wint_t>(static_cast<char32_t>(wide));
    const bool printable = iswprint(character) != 0;
    return {length, printable, !printable && iswspace(character) != 0};
}

std::size_t CharacterSet::count(std::string_view text) const {
    std::size_t characters = 0;
    for (; !text.empty(); ++characters) text.remove_prefix(first(text).length);
    return characters;
}

} // namespace evm
