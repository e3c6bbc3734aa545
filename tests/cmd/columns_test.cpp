#include "tests/cmd/stat_probe.h"

namespace {

std::string fitted(int width, std::string text) {
    StatProbe().formatDefaultString(width, text);
    return text;
}

} // namespace

TEST(Columns, TextsAreFittedToTheirWidth) {
    EXPECT_EQ(fitted(8, "12345678"), "1234... ");
    EXPECT_EQ(fitted(10, ""), "          ");
    for (int width = -3; width < 40; ++width)
        for (std::size_t length = 0; length < 45; ++length)
            EXPECT_EQ(fitted(width, std::string(length, 'x')).size(),
                      static_cast<std::size_t>(std::max(width, 0)));
}

TEST(Permissions, ListIsTakenApart) {
    const std::pair<std::string, std::string> cases[] = {
        {"other::r--,pgrp:dba:r-x,user:bob:-w-,group:ops:-w-,owner:al:rwx", "al|dba|rwxr-xr--"},
        {"pgrp:dba:r-x", "|dba|r-x"},
        {"other::r", "||r"},
        {"owner:alice:", "alice||"},
        {"owner:alice", "alice||"},
        {"owner::rwx,pgrp::", "||rwx"},
        {":::,,,owner:", "||"},
    };
    for (const auto& [acl, parts] : cases) {
        std::string owner, group, permissions;
        StatProbe().formatRWXString(acl, owner, group, permissions);
        EXPECT_EQ(owner + "|" + group + "|" + permissions, parts) << acl;
    }
}
