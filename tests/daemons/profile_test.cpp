#include "daemons/vornd/Profile.h"
#include "daemons/vornd/ProfileFolder.h"
#include "tests/daemons/daemons_support.h"

#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <filesystem>
#include <thread>

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
        {good + std::string(MAX_ATTRIBUTE_NAME, 'A') + "=", ""},
    };
    for (const auto& [text, fault] : table) EXPECT_EQ(faultOf(text), fault) << text;
    EXPECT_TRUE(
        faultOf(good + std::string(MAX_ATTRIBUTE_NAME + 1, 'A') + "=").ends_with("too long"));
}

class FolderTest : public testing::Test {
protected:
    FolderTest()
        : path(testFolder() + "/profile"),
          folder(path, [this](const std::string& line) { lines.push_back(line); }) {
        std::filesystem::remove_all(path);
        std::filesystem::create_directory(path);
    }
    void put(const std::string& name, const std::string& text) const {
        writeFile(path + "/" + name, text);
    }
    /// What is served after a scan that takes everything: "name:type" in order.
    std::string scan(ProfileFolder::Fresh fresh = ProfileFolder::Fresh::take) {
        folder.scan(fresh);
        std::string text;
        for (const ResourcePointer& resource : folder.resources())
            text += resource->name() + ":" + resource->attribute("TYPE") + " ";
        return text;
    }
    std::vector<std::string> takeLines() { return std::exchange(lines, {}); }
    static void settle() { std::this_thread::sleep_for(ProfileFolder::SETTLE_TIME * 1.5); }

    using Lines = std::vector<std::string>;
    std::string path;
    Lines lines;
    ProfileFolder folder;
};

TEST_F(FolderTest, FollowsChanges) {
    put("b.cap", "NAME=b\nTYPE=1\n");
    put("a.cap", "NAME=z\nTYPE=1\n");
    put("c.txt", "NAME=c\nTYPE=1\n");
    put(".d.cap", "NAME=d\nTYPE=1\n");
    EXPECT_EQ(scan(), "b:1 z:1 ");
    put("b.cap", "NAME=b\nTYPE=2\n"); // of the same size, and perhaps within one tick of the clock
    EXPECT_EQ(scan(), "b:2 z:1 ");
    std::filesystem::remove(path + "/a.cap");
    EXPECT_EQ(scan(), "b:2 ");
    settle();
    EXPECT_TRUE(folder.scan(ProfileFolder::Fresh::take)); // the last look at what was fresh
    EXPECT_FALSE(folder.scan(ProfileFolder::Fresh::take));
    std::filesystem::remove_all(path);
    EXPECT_EQ(scan() + scan(), "");
    EXPECT_EQ(takeLines(), Lines{"profile folder " + path + ": No such file or directory"});
    std::filesystem::create_directory(path);
    put("b.cap", "NAME=b\nTYPE=3\n");
    EXPECT_EQ(scan(), "b:3 ");
}

TEST_F(FolderTest, LeavesWhatSomebodyMayStillBeWriting) {
    put("a.cap", "NAME=a\nTYPE=1\n");
    EXPECT_EQ(scan(ProfileFolder::Fresh::leave), "");
    settle();
    EXPECT_EQ(scan(ProfileFolder::Fresh::leave), "a:1 ");
}

TEST_F(FolderTest, KeepsTheGoodVersionOfAFileThatWentBad) {
    put("a.cap", "NAME=a\nTYPE=1\n");
    put("new.cap", "NAME=new\nTY");
    EXPECT_EQ(scan(), "a:1 ");
    EXPECT_EQ(takeLines(), Lines{"profile new.cap: line 2: no '=' in 'TY'"});
    put("a.cap", "NAME=a\n");
    EXPECT_EQ(scan(), "a:1 ");
    EXPECT_EQ(scan(), "a:1 ");
    EXPECT_EQ(takeLines(), Lines{"profile a.cap: TYPE is missing (its previous version stays)"});
    put("a.cap", "NAME=a\nTYPE=2\nACL=root\n");
    put("new.cap", "NAME=new\nTYPE=1\n");
    EXPECT_EQ(scan(), "a:2 new:1 ");
    EXPECT_EQ(takeLines(), Lines{"profile a.cap: ACL is not understood: administrators only"});
}

TEST_F(FolderTest, ServesANameOnce) {
    put("b.cap", "NAME=x\nTYPE=b\n");
    put("c.cap", "NAME=x\nTYPE=c\n");
    EXPECT_EQ(scan(), "x:b ");
    EXPECT_EQ(takeLines(),
              Lines{"profile c.cap: NAME 'x' is already taken by b.cap; the file is not served"});
    put("a.cap", "NAME=x\nTYPE=a\n");
    EXPECT_EQ(scan() + scan(), "x:a x:a ");
    EXPECT_EQ(takeLines(),
              Lines{"profile b.cap: NAME 'x' is already taken by a.cap; the file is not served"});
}

TEST_F(FolderTest, ReadsRegularFilesOfSoundSizeOnly) {
    put("target", "NAME=a\nTYPE=1\n");
    std::filesystem::create_symlink(path + "/target", path + "/link.cap");
    ASSERT_EQ(mkfifo((path + "/pipe.cap").c_str(), 0600), 0);
    put("large.cap", "NAME=l\nTYPE=1\n#" + std::string(MAX_PROFILE_SIZE, 'x'));
    put("full.cap", "NAME=f\nTYPE=1\n#" + std::string(MAX_PROFILE_SIZE - 15, 'x'));
    EXPECT_EQ(scan() + scan(), "f:1 f:1 ");
    EXPECT_EQ(takeLines(), (Lines{"profile large.cap: larger than 262144 bytes",
                                  "profile link.cap: not a regular file",
                                  "profile pipe.cap: not a regular file"}));
}

} // namespace
