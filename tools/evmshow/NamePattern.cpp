#include "tools/evmshow/NamePattern.h"

#include "evm/libevm/names.h"

#include <algorithm>

namespace evmshow {

namespace {

/// The characters of a component, first to last.
class Characters {
public:
    explicit Characters(std::string_view text) : m_rest(text) {}

    [[nodiscard]] bool done() const { return m_rest.empty(); }
    [[nodiscard]] char first() const { return m_rest.front(); }
    void drop() { m_rest.remove_prefix(1); }

private:
    std::string_view m_rest;
};

/// The components of a name, first to last.
class Components {
public:
    explicit Components(std::string_view name) : m_rest(name), m_done(name.empty()) {}

    [[nodiscard]] bool done() const { return m_done; }
    [[nodiscard]] std::string_view first() const { return m_rest.substr(0, m_rest.find('.')); }
    void drop() {
        const std::size_t dot = m_rest.find('.');
        m_done = dot == std::string_view::npos;
        if (!m_done) m_rest.remove_prefix(dot + 1);
    }

private:
    std::string_view m_rest;
    bool m_done;
};

/// Matches elements against a pattern of elements. When one does not fit, the last "any" takes one
/// more: earlier ones need not be tried again, as the last could take what they would.
template <class Pattern, class Elements, class IsAny, class Fits>
bool matchesAll(const Pattern& pattern, Elements elements, IsAny isAny, Fits fits) {
    std::size_t at = 0;
    std::optional<std::size_t> afterAny;
    Elements retry = elements;
    while (!elements.done()) {
        if (at < pattern.size() && isAny(pattern[at])) {
            afterAny = ++at;
            retry = elements;
        } else if (at < pattern.size() && fits(pattern[at], elements.first())) {
            ++at;
            elements.drop();
        } else if (afterAny) {
            at = *afterAny;
            retry.drop();
            elements = retry;
        } else {
            return false;
        }
    }
    while (at < pattern.size() && isAny(pattern[at])) ++at;
    return at == pattern.size();
}

bool componentFits(std::string_view pattern, std::string_view component) {
    if (pattern == component) return true;
    return matchesAll(
        pattern, Characters(component), [](char wanted) { return wanted == '*'; },
        [](char wanted, char c) { return wanted == '?' || wanted == c; });
}

bool isComponentPattern(std::string_view text) {
    return !text.empty() && std::ranges::all_of(text, [](char c) {
        return evm::isNameCharacter(c) || c == '*' || c == '?';
    });
}

} // namespace

std::optional<NamePattern> NamePattern::parse(std::string_view text) {
    if (text.empty()) return std::nullopt;
    NamePattern pattern;
    for (Components components(text); !components.done(); components.drop()) {
        if (!isComponentPattern(components.first())) return std::nullopt;
        pattern.m_components.emplace_back(components.first());
    }
    return pattern;
}

bool NamePattern::matches(std::string_view name) const {
    return matchesAll(
        m_components, Components(name), [](std::string_view wanted) { return wanted == "*"; },
        componentFits);
}

} // namespace evmshow
