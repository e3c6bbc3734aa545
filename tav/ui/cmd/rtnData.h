#pragma once

#include <map>
#include <string>
#include <string_view>

namespace TAV {

/// What a reply tells of one resource. The maps are keyed by node name, where an empty name stands
/// for a value without a node; the attributes by their names.
struct rtnData {
    std::map<std::string, std::string> attributes;
    std::map<std::string, std::string> states;
    std::map<std::string, std::string> targets;
    std::map<std::string, std::string> failures; ///< counts, as text
};

/// The value under a key, the empty text when there is none; nothing is inserted. Valid as long as
/// the entry.
inline std::string_view valueOf(const std::map<std::string, std::string>& map,
                                const std::string& key) {
    const auto found = map.find(key);
    return found == map.end() ? std::string_view() : std::string_view(found->second);
}

} // namespace TAV
