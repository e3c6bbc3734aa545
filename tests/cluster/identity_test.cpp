#include "tav/cluster/Identity.h"
#include "tests/cluster/cluster_support.h"

using TAV::Identity;

namespace {

/// What an operation that must fail tells the user.
template <class Body>
std::string refusal(Body body) {
    try {
        body();
    } catch (const TAV::AuthorizationException& error) {
        return error.getExceptionMessage();
    }
    return "none";
}

std::string invalid(const std::string& identity) {
    return "Authorization Exception:The input identity " + identity + " is invalid";
}

std::string text_of(const auto& error) {
    return error.getExceptionMessage();
}

} // namespace

TEST(Identity, ExceptionTexts) {
    using namespace TAV;
    const std::string z = "Authorization Exception:", n = "Authentication Exception:";
    const std::pair<std::string, std::string> texts[] = {
        {text_of(AuthorizationException()), z},
        {text_of(UnexpectedAuthMsgException()), n + "unexpected authentication message received"},
        {text_of(SocketFailureException()), n + "socket I/O failure"},
        {text_of(UsernameConflict("al")),
         z + "Username al conflicts with the owner of the resource"},
        {text_of(GroupnameConflict()),
         z + "Groupname conflicts with the primary group of the resource"},
        {text_of(AclInfoNotAvailable(-3)), z + "The Acl information not available rc=-3"},
        {text_of(AclOperationFailure()), z + "The Acl operation failed"},
        {text_of(UnknownAclEntry()), z + "Unknown Acl entry"},
        {text_of(DuplicateAclEntryException("twice")), "twice"},
        {text_of(DefaultPermissionMissException()), z + "The default permssion file is missing"},
        {text_of(InvalidIdentity()), z + "The input identity is invalid"},
        {text_of(InvalidIdentity("x", true)), invalid("x")},
    };
    for (const auto& [text, expected] : texts) EXPECT_EQ(text, expected);
}

TEST(Identity, UsersGroupsAndCopies) {
    const TestCluster cluster;
    cluster.run(1, [] {
        Identity user("daemon", false);
        EXPECT_EQ(user.toString(), "daemon//GI=0");
        EXPECT_EQ(user.getPrimaryGroup(), nullptr);
        EXPECT_EQ(user.getPrimaryGroupName(), "");
        user.setGroupIdentity("daemon");
        auto source = std::make_unique<Identity>(user);
        Identity copy;
        EXPECT_TRUE(copy == Identity());
        EXPECT_FALSE(copy == user || user == copy);
        copy = *source;
        source.reset();
        copy = *&copy;
        EXPECT_EQ(copy.toString(), "daemon/daemon,/GI=0");
        EXPECT_NE(copy.getPrimaryGroup(), user.getPrimaryGroup());
        EXPECT_TRUE(copy == Identity("daemon", false)); // groups do not count
        EXPECT_FALSE(copy == Identity("root", false));
        EXPECT_TRUE(Identity("root", false).isSuperUser());
        EXPECT_FALSE(copy.isSuperUser());
        const Identity group("daemon", true);
        EXPECT_EQ(group.toString(), "/daemon,/GI=1");
        EXPECT_FALSE(group.isSuperUser());
        EXPECT_TRUE(group == Identity());
        // Who is privileged may take any group that exists.
        Identity root("root", false);
        root.setGroupIdentity("daemon");
        EXPECT_EQ(refusal([&] { root.setGroupIdentity("no group"); }),
                  invalid("unable to get the group id from the group name"));
        EXPECT_EQ(root.toString(), "root/daemon,no group,/GI=0");
    });
}

TEST(Identity, RefusalsAndTheirLines) {
    const TestCluster cluster;
    cluster.run(1, [] {
        const scls_user_id nobody{4000000000, 0};
        EXPECT_EQ(refusal([] { Identity("", true); }), invalid(""));
        EXPECT_EQ(refusal([] { Identity("no user", false); }), invalid("no user"));
        EXPECT_EQ(refusal([] { Identity("no group", true); }), invalid("no group"));
        EXPECT_EQ(refusal([] { Identity("daemon", false).setGroupIdentity("root"); }),
                  invalid("user id does not belong to the group"));
        EXPECT_FALSE(Identity("daemon", false).belongsToGroup("no group"));
        EXPECT_EQ(refusal([&] { Identity id(&nobody); }),
                  invalid("no name for scls_user_id value found"));
    });
    const std::string at = "CLSCPPGEN:  Exception: ";
    const auto log = cluster.log();
    ASSERT_EQ(log.size(), 7u);
    EXPECT_EQ(log[0], at + "Identity construction failed with name: ");
    EXPECT_EQ(log[1], at + "Identity construction, user creation failed with name: no user and "
                           "error: 3");
    EXPECT_EQ(log[2], at + "Identity construction, group creation failed with name: no group and "
                           "error: 3");
    EXPECT_EQ(log[3], at + "setGroupIdentity failed while checking groupname: root");
    EXPECT_EQ(log[4], "CLSCPPGEN:  SLOS DATA| Category: 0 Operation:  Loc:  OS error: 0 Other : ");
    EXPECT_TRUE(log[5].starts_with("CLSCPPGEN:  SLOS DATA| Category: 3 Operation: ")) << log[5];
    EXPECT_TRUE(log[6].starts_with(at + "User Identity Construction failed with scls_user_id: 0x"));
    cluster.run(
        1, [] { Identity id(static_cast<const scls_user_id*>(nullptr)); }, 1);
}
