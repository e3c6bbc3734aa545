#include "platform/include/identity.h"
#include "tests/platform/node_support.h"

#include <gtest/gtest.h>
#include <unistd.h>

#include <cstdlib>

namespace {

/// A number that no entry of the machine has.
constexpr std::uint32_t NOBODY_AT_ALL = 3999999999U;
constexpr std::uint32_t DAEMON = 1; ///< an ordinary user of every machine, as is its group

} // namespace

TEST(Identity, NamesAndNumbersBelongTogetherAndAreNeverCut) {
    scls_user_id* user = nullptr;
    ASSERT_EQ(clsh_mkUserID("daemon", &user), SCLS_OK);
    scls_user_id* const copy = clsh_cpUserID(user);
    EXPECT_EQ(scls_iddb_compare_user_id(user, copy), 0);
    clsh_freeUserID(user);
    char name[7];
    std::size_t length = 0;
    EXPECT_EQ(scls_iddb_get_user_name_by_id(nullptr, nullptr, 0, copy, name, 7, &length), SCLS_OK);
    EXPECT_STREQ(name, "daemon");
    EXPECT_EQ(length, 6U);
    slos err;
    EXPECT_EQ(scls_iddb_get_user_name_by_id(nullptr, &err, 0, copy, name, 6, &length),
              SCLS_TOO_LONG);
    EXPECT_STREQ(name, "");
    EXPECT_EQ(err.category, SLOS_IDENTITY);
    clsh_freeUserID(copy);
    scls_privgrp_id group{};
    EXPECT_EQ(scls_iddb_get_privgrp_id_by_name(nullptr, nullptr, 0, "daemon", &group), SCLS_OK);
    EXPECT_EQ(group.gid, DAEMON);
}

TEST(Identity, WhatIsNotThereIsToldApartFromFailure) {
    slos err;
    scls_user_id* id = nullptr;
    char name[64];
    int member = 7;
    const scls_user_id nobody{NOBODY_AT_ALL, 0};
    const scls_privgrp_id group{NOBODY_AT_ALL, 0};
    EXPECT_EQ(clsh_mkUserID("no-such-user", &id), SCLS_NONE);
    EXPECT_EQ(id, nullptr);
    EXPECT_EQ(scls_iddb_get_user_name_by_id(nullptr, &err, 0, &nobody, name, 64, nullptr),
              SCLS_NONE);
    EXPECT_STREQ(err.other, "there is no '3999999999'");
    EXPECT_EQ(scls_iddb_is_a_privgrp_member_by_id(nullptr, &err, 0, &nobody, &group, &member),
              SCLS_NONE);
    EXPECT_EQ(member, 0);
    if (geteuid() != 0) GTEST_SKIP() << "the rest needs the superuser";
    const auto without_group = [] {
        const bool changed = setegid(NOBODY_AT_ALL) == 0;
        char own[32];
        return changed ? scls_idq_get_primary_privgrp_name(nullptr, nullptr, 0, own, 32) : -1;
    };
    EXPECT_EQ(run_in_child(without_group), SCLS_NONE);
}

TEST(Identity, PrivilegesComeFromTheAdministratorsGroup) {
    const auto body = [](const std::string& uid) {
        setenv("VORN_NODE_CONF", (test_folder() + "/admins.conf").c_str(), 1);
        const scls_user_id user{static_cast<std::uint32_t>(std::stoul(uid)), 0};
        int holds = -1;
        const int result = scls_iddb_has_ha_privs(nullptr, nullptr, 0, &user, &holds);
        return 10 * result + holds;
    };
    const auto privileged = [&body](const std::string& group, std::uint32_t uid) {
        write_file(test_folder() + "/admins.conf", "admin_group = " + group + "\nnode_name = a\n");
        return run_in_fresh_process(body, std::to_string(uid));
    };
    EXPECT_EQ(privileged("no-such-group", 0), 1);
    EXPECT_EQ(privileged("daemon", DAEMON), 1);
    EXPECT_EQ(privileged("root", DAEMON), 0);
    EXPECT_EQ(privileged("no-such-group", DAEMON), 10 * SCLS_NONE);
}
