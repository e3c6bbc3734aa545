#pragma once

#include <string>
#include <string_view>
#include <vector>

/// A language as message lookup sees it: the catalog folders to try, in order.
struct lxlang {
    std::vector<std::string> folders; ///< never empty; the last is English
    bool english = false;             ///< the asked-for language is English itself
};

/// Names of languages that are longer mean English; real ones have some 20 characters.
inline constexpr std::size_t LANGUAGE_MAX_NAME = 64;
/// Different languages of one process; beyond them every new one means English. Names may come from
/// outside, and a language is kept as long as the process.
inline constexpr std::size_t LANGUAGE_MAX_COUNT = 1000;

/// The folders of a language's name: de_AT, de, en for "de_AT.UTF-8". A pure function.
lxlang language_of_name(std::string_view name);
