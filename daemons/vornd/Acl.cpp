#include "daemons/vornd/Acl.h"

#include "tav/ui/cmd/tavNames.h"

#include <algorithm>
#include <array>

namespace vornd {

namespace {

constexpr std::size_t TRIPLET_SIZE = 3;

bool isTriplet(std::string_view text) {
    constexpr std::string_view given = "rwx";
    if (text.size() != TRIPLET_SIZE) return false;
    for (std::size_t i = 0; i < TRIPLET_SIZE; ++i)
        if (text[i] != given[i] && text[i] != '-') return false;
    return true;
}

} // namespace

std::optional<Acl::Entry> Acl::parseEntry(std::string_view text) {
    struct Prefix {
        std::string_view text;
        Kind kind;
    };
    constexpr std::array<Prefix, 5> prefixes{{{TAV::OWNER_STR, Kind::owner},
                                              {TAV::USER_STR, Kind::user},
                                              {TAV::PRIMARY_GROUP_STR, Kind::group},
                                              {TAV::GROUP_STR, Kind::group},
                                              {TAV::OTHER_STR, Kind::other}}};
    const auto* const prefix =
        std::find_if(prefixes.begin(), prefixes.end(),
                     [&](const Prefix& candidate) { return text.starts_with(candidate.text); });
    if (prefix == prefixes.end()) return std::nullopt;
    text.remove_prefix(prefix->text.size());
    std::string_view name;
    if (prefix->kind != Kind::other) {
        name = text.substr(0, text.find(TAV::ACL_DELIMITER));
        if (name.empty() || name.size() == text.size()) return std::nullopt;
        text.remove_prefix(name.size() + 1);
    }
    if (!isTriplet(text)) return std::nullopt;
    return Entry{prefix->kind, std::string(name), text.front() == 'r'};
}

std::optional<Acl> Acl::parse(std::string_view text) {
    Acl acl;
    std::size_t start = 0;
    while (true) {
        const std::size_t end = std::min(text.find(TAV::ACL_ENTRY_DELIMITER, start), text.size());
        std::optional<Entry> entry = parseEntry(text.substr(start, end - start));
        if (!entry) return std::nullopt;
        acl.m_entries.push_back(std::move(*entry));
        if (end == text.size()) return acl;
        start = end + 1;
    }
}

const Acl::Entry* Acl::find(Kind kind, const std::string& name) const {
    const auto found = std::find_if(m_entries.begin(), m_entries.end(), [&](const Entry& entry) {
        return entry.kind == kind && entry.name == name;
    });
    return found == m_entries.end() ? nullptr : &*found;
}

std::optional<bool> Acl::groupsGrantRead(Caller& caller) const {
    std::optional<bool> granted;
    for (const Entry& entry : m_entries) {
        if (entry.kind != Kind::group || granted.value_or(false)) continue;
        if (caller.belongsTo(entry.name)) granted = entry.read;
    }
    return granted;
}

bool Acl::grantsRead(Caller& caller) const {
    const std::string& name = caller.name();
    if (const Entry* const entry = find(Kind::owner, name)) return entry->read;
    if (const Entry* const entry = find(Kind::user, name)) return entry->read;
    if (const std::optional<bool> granted = groupsGrantRead(caller)) return *granted;
    const Entry* const others = find(Kind::other, "");
    return others != nullptr && others->read;
}

} // namespace vornd
