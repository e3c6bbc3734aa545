#include "platform/include/identity.h"
#include "tests/platform/node_support.h"

#include <gtest/gtest.h>
#include <unistd.h>

#include <cstdlib>
#include <memory>

namespace {

struct Free {
    void operator()(scls_user_id* id) const { clsh_freeUserID(id); }
    void operator()(scls_privgrp_id* id) const { clsh_freePrivGrpID(id); }
};

/// A number that no entry of the machine has.
constexpr std::uint32_t NOBODY_AT_ALL = 3999999999U;

} // namespace

TEST(Identity, NamesAndNumbersBelongTogether) {
    scls_user_id* id = nullptr;
    ASSERT_EQ(clsh_mkUserID("daemon", &id), SCLS_OK);
    const std::unique_ptr<scls_user_id, Free> user(id);
    const std::unique_ptr<scls_user_id, Free> copy(clsh_cpUserID(id));
    EXPECT_EQ(scls_iddb_compare_user_id(user.get(), copy.get()), 0);
    char name[7];
    std::size_t length = 0;
    EXPECT_EQ(scls_iddb_get_user_name_by_id(nullptr, nullptr, 0, id, name, 7, &length), SCLS_OK);
    EXPECT_STREQ(name, "daemon");
    EXPECT_EQ(length, 6U);

    scls_privgrp_id* group = nullptr;
    ASSERT_EQ(clsh_mkPrivGrpID("daemon", &group), SCLS_OK);
    const std::unique_ptr<scls_privgrp_id, Free> owned(group);
    scls_privgrp_id found{};
    EXPECT_EQ(scls_iddb_get_privgrp_id_by_name(nullptr, nullptr, 0, "daemon", &found), SCLS_OK);
    EXPECT_EQ(found.gid, group->gid);
    EXPECT_EQ(clsh_cpUserID(nullptr), nullptr);
    clsh_freeUserID(nullptr);
}

TEST(Identity, NamesAreNeverCut) {
    slos err;
    char name[5] = "old";
    std::size_t length = 9;
    const scls_user_id root{0, 0};
    const scls_privgrp_id group{0, 0};
    EXPECT_EQ(scls_iddb_get_user_name_by_id(nullptr, &err, 0, &root, name, 4, &length),
              SCLS_TOO_LONG);
    EXPECT_STREQ(name, "");
    EXPECT_EQ(length, 0U);
    EXPECT_EQ(err.category, SLOS_IDENTITY);
    EXPECT_EQ(scls_iddb_get_privgrp_name_by_id(nullptr, &err, 0, &group, name, 5, &length),
              SCLS_OK);
    EXPECT_STREQ(name, "root");
}

TEST(Identity, WhatIsNotThereIsToldApartFromFailure) {
    slos err;
    scls_user_id* id = nullptr;
    char name[64];
    const scls_user_id nobody{NOBODY_AT_ALL, 0};
    const scls_privgrp_id group{NOBODY_AT_ALL, 0};
    int member = 7;
    EXPECT_EQ(clsh_mkUserID("no-such-user", &id), SCLS_NONE);
    EXPECT_EQ(clsh_mkUserID("", &id), SCLS_NONE);
    EXPECT_EQ(id, nullptr);
    EXPECT_EQ(scls_iddb_get_user_name_by_id(nullptr, &err, 0, &nobody, name, 64, nullptr),
              SCLS_NONE);
    EXPECT_STREQ(err.other, "there is no '3999999999'");
    EXPECT_EQ(scls_iddb_get_privgrp_name_by_id(nullptr, &err, 0, &group, name, 64, nullptr),
              SCLS_NONE);
    EXPECT_EQ(scls_iddb_is_a_privgrp_member_by_id(nullptr, &err, 0, &nobody, &group, &member),
              SCLS_NONE);
    EXPECT_EQ(member, 0);
}

TEST(Identity, CallerWithoutGroupNameHasNone) {
    if (geteuid() != 0) GTEST_SKIP() << "needs the superuser";
    EXPECT_EQ(run_in_child([] {
                  char name[32];
                  if (setegid(NOBODY_AT_ALL) != 0) return 99;
                  return scls_idq_get_primary_privgrp_name(nullptr, nullptr, 0, name, 32);
              }),
              SCLS_NONE);
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
        write_file(test_folder() + "/admins.conf", "node_name = a\nadmin_group = " + group + "\n");
        return run_in_fresh_process(body, std::to_string(uid));
    };
    scls_user_id* id = nullptr;
    ASSERT_EQ(clsh_mkUserID("daemon", &id), SCLS_OK);
    const std::unique_ptr<scls_user_id, Free> daemon(id);
    EXPECT_EQ(privileged("no-such-group", 0), 1);
    EXPECT_EQ(privileged("daemon", daemon->uid), 1);
    EXPECT_EQ(privileged("root", daemon->uid), 0);
    EXPECT_EQ(privileged("no-such-group", daemon->uid), 10 * SCLS_NONE);
}
