#include "evm/libevm/text_buffer.h"

namespace evm {

namespace {

/// Where a line may be broken.
struct Break {
    std::size_t limit = 0; ///< bytes of as many characters as fit
    std::size_t space = 0; ///< bytes up to and with the last space among them; 0 when there is none
    bool needed = false;   ///< there is more than fits
};

/// `room` is not 0. A space at the very beginning is no place for a break.
Break findBreak(std::string_view line, std::size_t room) {
    const CharacterSet& set = CharacterSet::ofEnvironment();
    Break found;
    for (std::size_t position = 0; found.limit < line.size(); ++position) {
        if (position == room) {
            found.needed = true;
            break;
        }
        const Character character = set.first(line.substr(found.limit));
        found.limit += character.length;
        if (character.blank && position != 0) found.space = found.limit;
    }
    return found;
}

void dropLeadingBlanks(std::string_view& line) {
    const CharacterSet& set = CharacterSet::ofEnvironment();
    while (!line.empty()) {
        const Character character = set.first(line);
        if (!character.blank) return;
        line.remove_prefix(character.length);
    }
}

void dropTrailingBlanks(std::string_view& line) {
    const CharacterSet& set = CharacterSet::ofEnvironment();
    std::size_t end = 0;
    for (std::size_t at = 0; at < line.size();) {
        const Character character = set.first(line.substr(at));
        at += character.length;
        if (!character.blank) end = at;
    }
    line = line.substr(0, end);
}

void breakLine(TextSink& target, std::size_t indent) {
    target.put("\n");
    target.putSpaces(indent);
}

void wrapLine(std::string_view line, TextSink& target, std::size_t room, std::size_t indent) {
    dropLeadingBlanks(line);
    dropTrailingBlanks(line);
    while (room != 0) {
        const Break found = findBreak(line, room);
        if (!found.needed) break;
        const std::size_t length = found.space != 0 ? found.space : found.limit;
        target.putPrintable(line.substr(0, length));
        line.remove_prefix(length);
        breakLine(target, indent);
        dropLeadingBlanks(line);
    }
    target.putPrintable(line);
}

} // namespace

void _evmWrap(std::string_view source, TextSink& target, std::size_t width, std::size_t indent) {
    const std::size_t room = width > indent ? width - indent : 0;
    for (std::size_t end = source.find('\n'); end != std::string_view::npos;
         end = source.find('\n')) {
        wrapLine(source.substr(0, end), target, room, indent);
        breakLine(target, indent);
        source.remove_prefix(end + 1);
    }
    wrapLine(source, target, room, indent);
}

} // namespace evm
