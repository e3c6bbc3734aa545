#include "evm/libevm/host_address.h"

#include <algorithm>
#include <charconv>
#include <cstdio>
#include <cstring>
#include <memory>

namespace evm {

namespace {

/// What is looked at of a line; the rest of a longer one is passed over.
constexpr std::size_t LINE_MAX_LENGTH = 130;
constexpr std::string_view BLANKS = " \t\r\n\v\f";
constexpr char COMMENT = '#';

struct CloseFile {
    void operator()(std::FILE* file) const { std::fclose(file); }
};
using FilePtr = std::unique_ptr<std::FILE, CloseFile>;

/// The next line, at most LINE_MAX_LENGTH characters of it; false at the end.
bool readLine(std::FILE* file, char (&line)[LINE_MAX_LENGTH + 1]) {
    if (std::fgets(line, sizeof line, file) == nullptr) return false;
    if (std::strchr(line, '\n') != nullptr) return true;
    int rest = std::fgetc(file);
    while (rest != EOF && rest != '\n') rest = std::fgetc(file);
    return true;
}

std::string_view takeWord(std::string_view& text) {
    text.remove_prefix(std::min(text.size(), text.find_first_not_of(BLANKS)));
    const std::string_view word = text.substr(0, text.find_first_of(BLANKS));
    text.remove_prefix(word.size());
    return word;
}

} // namespace

bool _evmDottedAddress(std::string_view text, EvmIpAddress_t& address) {
    EvmIpAddress_t value = 0;
    const char* at = text.data();
    const char* const end = at + text.size();
    for (unsigned position = 0; position < sizeof value; ++position) {
        if (position != 0 && (at == end || *at++ != '.')) return false;
        std::uint8_t number = 0;
        const auto [stop, error] = std::from_chars(at, end, number);
        if (error != std::errc()) return false;
        at = stop;
        value |= EvmIpAddress_t{number} << (8 * position);
    }
    if (at != end) return false;
    address = value;
    return true;
}

EvmIpAddress_t _evmHostAddress(const char* hostName, const char* hostsFile) {
    const FilePtr file(std::fopen(hostsFile, "re"));
    char line[LINE_MAX_LENGTH + 1];
    while (file != nullptr && readLine(file.get(), line)) {
        if (line[0] == COMMENT) continue;
        std::string_view rest = line;
        const std::string_view number = takeWord(rest);
        const std::string_view name = takeWord(rest);
        if (name.empty() || name[0] == COMMENT || name != hostName) continue;
        EvmIpAddress_t address = 0;
        return _evmDottedAddress(number, address) ? address : 0;
    }
    return 0;
}

} // namespace evm
