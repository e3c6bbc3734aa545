#pragma once

#include "daemons/vornd/Caller.h"

#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace vornd {

/// A resource's access-control list: entries separated by ",", each
///
///   owner:NAME:rwx  user:NAME:rwx  pgrp:NAME:rwx  group:NAME:rwx  other::rwx
///
/// with "-" in the place of a permission that is not given.
class Acl {
public:
    /// Nothing when the text has an entry of another form, or none at all: a list that is not
    /// understood as a whole must not grant what one of its entries may have been meant to deny.
    static std::optional<Acl> parse(std::string_view text);

    /// The first of these that names the caller decides alone: the owner's entry; the caller's own
    /// entry; the entries of the caller's groups, of which one that grants is enough; the entry of
    /// everybody else.
    [[nodiscard]] bool grantsRead(Caller& caller) const;

private:
    enum class Kind { owner, user, group, other };
    struct Entry {
        Kind kind;
        std::string name;
        bool read;
    };

    static std::optional<Entry> parseEntry(std::string_view text);
    [[nodiscard]] const Entry* find(Kind kind, const std::string& name) const;
    [[nodiscard]] std::optional<bool> groupsGrantRead(Caller& caller) const;

    std::vector<Entry> m_entries;
};

} // namespace vornd
