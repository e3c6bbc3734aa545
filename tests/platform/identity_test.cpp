#include "platform/include/identity.h"
#include "tests/platform/node_support.h"

namespace {

constexpr std::uint32_t DAEMON = 1; ///< an ordinary user of every machine, as is its group

} // namespace

TEST(Identity, NamesAndNumbersBelongTogetherAndAreNeverCut) {
    scls_user_id* user = nullptr;
    ASSERT_EQ(clsh_mkUserID("daemon", &user), SCLS_OK);
    char name[7];
    std::size_t length = 0;
    EXPECT_EQ(scls_iddb_get_user_name_by_id(nullptr, nullptr, 0, user, name, 7, &length), SCLS_OK);
    EXPECT_STREQ(name, "daemon");
    EXPECT_EQ(length, 6U);
    slos err;
    EXPECT_EQ(scls_iddb_get_user_name_by_id(nullptr, &err, 0, user, name, 6, &length),
              SCLS_TOO_LONG);
    EXPECT_STREQ(name, "");
    clsh_freeUserID(user);
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
