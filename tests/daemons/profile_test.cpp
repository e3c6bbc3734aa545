#include "daemons/vornd/Profile.h"
#include "daemons/vornd/ProfileFile.h"
#include "daemons/vornd/ResourceRecord.h"
#include "tests/daemons/daemons_support.h"

#include <gtest/gtest.h>
#include <sys/stat.h>

#include <filesystem>

using namespace vornd;

namespace {

std::string faultOf(const std::string& text) {
    Resource resource;
    ProfileFault fault;
    return parseProfile(text, resource, fault) ? "" : fault.text();
}

TEST(Profile, KeepsValuesAsTheyStand) {
    Resource resource;
    ProfileFault fault;
    ASSERT_TRUE(parseProfile("# a comment\r\n\n  \t \n NAME =db 1\nTYPE=  application \r\nA=b=c\n"
                             "EMPTY=\nTARGET=ONLINE\nSTATE@beta=OFFLINE\nSTATE@alpha=\xffON\n"
                             "CURRENT_FAILURE@alpha= 1",
                             resource, fault))
        << fault.text();
    using Attributes = decltype(resource.attributes);
    EXPECT_EQ(
        resource.attributes,
        (Attributes{{"A", "b=c"}, {"EMPTY", ""}, {"NAME", "db 1"}, {"TYPE", "  application "}}));
    EXPECT_EQ(resource.targets, (NodeValues{{"", "ONLINE"}}));
    EXPECT_EQ(resource.states, (NodeValues{{"alpha", "\xffON"}, {"beta", "OFFLINE"}}));
    EXPECT_EQ(resource.failures, (NodeValues{{"alpha", " 1"}}));
}

TEST(Profile, RefusesWhatIsNoneAndSaysWhere) {
    const std::string good = "NAME=a\nTYPE=t\n";
    const std::string longest(MAX_RESOURCE_NAME, 'n');
    const std::pair<std::string, const char*> table[] = {
        {"", "NAME is missing"},
        {"NAME=a\n", "TYPE is missing"},
        {"NAME=RESULT\nTYPE=t", "NAME 'RESULT' is reserved"},
        {"NAME=a\1b\nTYPE=t", "NAME has a control character"},
        {"TYPE=t\nNAME=" + longest, ""},
        {"TYPE=t\nNAME=" + longest + "x", "NAME is too long"},
        {good + "  word \n", "line 3: no '=' in 'word'"},
        {good + "NAME=b", "line 3: 'NAME' is given twice"},
        {good + "STATE@n=1\n\nSTATE@n=2", "line 5: 'STATE@n' is given twice"},
        {good + "TYPE@n=x",
         "line 3: 'TYPE' is not kept for a node: only STATE, TARGET and CURRENT_FAILURE"},
        {good + "A\x1b[1m=1", "line 3: the name 'A?[1m' has a character that names cannot have"},
        {good + std::string("A=\0", 3), "line 3: a zero byte"},
        {good + "A.B=1", "line 3: the name 'A.B' has a character that names cannot have"},
        {good + std::string(MAX_ATTRIBUTE_NAME, 'A') + "=", ""},
    };
    for (const auto& [text, fault] : table) EXPECT_EQ(faultOf(text), fault) << text;
    EXPECT_TRUE(
        faultOf(good + std::string(MAX_ATTRIBUTE_NAME + 1, 'A') + "=").ends_with("too long"));
}

TEST(Profile, ReadsRegularFilesOfSoundSizeOnly) {
    const std::string path = testFolder() + "/p.cap";
    const std::string text = "NAME=a\nTYPE=1\n#";
    writeFile(path, text + std::string(MAX_PROFILE_SIZE - text.size(), 'x'));
    std::filesystem::create_symlink(path, testFolder() + "/link.cap");
    writeFile(testFolder() + "/large.cap", readFile(path) + "x");
    writeFile(testFolder() + "/bad.cap", "NAME=a\nTYPE");
    ASSERT_EQ(mkfifo((testFolder() + "/pipe.cap").c_str(), 0600), 0);
    const std::pair<const char*, const char*> table[] = {
        {"/link.cap", ""},
        {"/large.cap", "larger than 262144 bytes"},
        {"/bad.cap", "line 2: no '=' in 'TYPE'"},
        {"/pipe.cap", "not a regular file"},
        {"", "not a regular file"},
        {"/none.cap", "cannot be read: No such file or directory"},
    };
    for (const auto& [name, reason] : table) {
        Resource resource;
        ProfileFault fault;
        EXPECT_EQ(readProfileFile(testFolder() + name, resource, fault), *reason == 0) << name;
        EXPECT_EQ(fault.text(), reason) << name;
    }
}

TEST(Record, HoldsTheResourceWithoutItsPermissions) {
    Resource resource;
    ProfileFault fault;
    ASSERT_TRUE(parseProfile("NAME=a.b\nTYPE=t\nACL=other::r--\nTARGET=ONLINE\nSTATE@n1=x\n"
                             "CURRENT_FAILURE@n2=3\n",
                             resource, fault));
    ResourceRecord record = recordOf(resource);
    EXPECT_EQ(record, (ResourceRecord{{"NAME", "a.b"},
                                      {"TYPE", "t"},
                                      {"TARGET", "ONLINE"},
                                      {"STATE@n1", "x"},
                                      {"CURRENT_FAILURE@n2", "3"}}));
    Resource again;
    ASSERT_TRUE(resourceOf(record, "other::r--", again, fault)) << fault.text();
    EXPECT_EQ(again.attributes, resource.attributes);
    EXPECT_EQ(recordOf(again), record);
    EXPECT_TRUE(again.acl);
    record["ACL"] = "other::r--"; // an attribute grants nothing
    ASSERT_TRUE(resourceOf(record, "", again, fault));
    EXPECT_FALSE(again.acl || again.attributes.contains("ACL"));
    record["X.Y"] = "a name that is no single key";
    EXPECT_FALSE(resourceOf(record, "", again, fault));
    EXPECT_EQ(fault.text(), "the name 'X.Y' has a character that names cannot have");
}

} // namespace
