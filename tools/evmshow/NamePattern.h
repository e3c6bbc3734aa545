#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace evmshow {

/// A pattern of event names, which consist of components separated by dots.
///
/// A component "*" stands for any number of components, none included. In a component with other
/// characters "*" stands for any text without a dot, the empty one included; "?" stands for one
/// character other than a dot anywhere. Everything else stands for itself, case included. The whole
/// name must match. Immutable: any number of threads may use one.
class NamePattern {
public:
    /// None when a component is empty or has other characters than letters, digits, "_", "*", "?".
    static std::optional<NamePattern> parse(std::string_view text);

    /// Takes time in proportion to the lengths of name and pattern, multiplied, at worst. The empty
    /// name has no components.
    [[nodiscard]] bool matches(std::string_view name) const;

private:
    std::vector<std::string> m_components;
};

} // namespace evmshow
