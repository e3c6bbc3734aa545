#include "daemons/vornd/DebugLevels.h"
#include "daemons/vornd/RegistrySource.h"
#include "platform/include/diagnostics.h"
#include "tests/daemons/daemons_support.h"

#include <gtest/gtest.h>

#include <filesystem>

using namespace vornd;

namespace {

class SourceTest : public testing::Test {
protected:
    /// "name:type:state-on-alpha" in order, "+" where anybody may read.
    static std::string served(RegistrySource& source) {
        const ModelPointer model = source.snapshot();
        std::string text;
        for (const ResourcePointer& resource : model->resources()) {
            const auto state = resource->states.find("alpha");
            text += resource->name() + ":" + resource->attribute("TYPE") + ":" +
                    (state == resource->states.end() ? "" : state->second) +
                    (resource->acl ? "+ " : " ");
        }
        return text;
    }
    static std::size_t logged(const std::string& line) {
        const std::string log = diagnosticLog();
        std::size_t count = 0;
        for (std::size_t at = 0; (at = log.find(line, at)) != std::string::npos; ++at) ++count;
        return count;
    }
    void becomes(RegistrySource& source, const std::string& wanted) {
        EXPECT_TRUE(eventually([&] { return served(source) == wanted; })) << served(source);
    }
    static const std::vector<std::string>& roots() {
        static const std::vector<std::string> names{"VORN.CUR", "VORN.SEC"};
        return names;
    }
    TestRegistry registry{"zks", roots()};
};

TEST_F(SourceTest, ServesCompleteResourcesInOrderOfNames) {
    for (const char* const name : {"b.2", "b-1", "b0"}) registry.resource(name);
    registry.resource("going", {"IS_UNREGISTERING=1"});
    registry.set("VORN.CUR.half.NAME", "half");
    registry.set("VORN.CUR.half.TYPE", "t");
    registry.set("VORN.CUR.other.NAME", "b0");
    registry.set("VORN.CUR.other.TYPE", "t");
    registry.set("VORN.CUR.other.AUTO_START", "1");
    registry.set("VORN.SEC.b0", "owner:root:rwx,other::r--");
    registry.set("VORN.SEC.b-1", "root");
    RegistrySource source(nullptr);
    EXPECT_EQ(served(source), "b-1:t: b.2:t: b0:t:+ ");
    EXPECT_EQ(logged("resource key other: its NAME is that of another one"), 1u);
    EXPECT_EQ(logged("resource b-1: its permissions are not understood: administrators only"), 1u);
}

TEST_F(SourceTest, FollowsChanges) {
    std::atomic<int> told{0};
    registry.resource("a");
    RegistrySource source([&](const ModelPointer&) { ++told; });
    const ModelPointer before = source.snapshot();
    ASSERT_TRUE(source.start());
    registry.set("VORN.CUR.a.STATE@alpha", "ONLINE");
    becomes(source, "a:t:ONLINE ");
    registry.set("VORN.SEC.a", "other::r--");
    becomes(source, "a:t:ONLINE+ ");
    registry.resource("b.c", {"STATE@alpha=OFFLINE"});
    becomes(source, "a:t:ONLINE+ b.c:t:OFFLINE ");
    registry.remove("VORN.CUR.a");
    becomes(source, "b.c:t:OFFLINE ");
    registry.remove("VORN.CUR.b!c.TYPE");
    becomes(source, "");
    EXPECT_EQ(before->resources().front()->states.size(), 0u) << "a model never changes";
    const int models = told;
    EXPECT_GE(models, 5);
    std::string all;
    for (int i = 100; i < 1000; ++i) {
        registry.resource("r" + std::to_string(i));
        all += "r" + std::to_string(i) + ":t: ";
    }
    becomes(source, all);
    EXPECT_LT(told - models, 500) << "many changes, few models";
}

TEST_F(SourceTest, KeepsTheGoodVersionOfADamagedResource) {
    registry.resource("a");
    registry.resource("b");
    registry.setNumber("VORN.CUR.b.EXTRA");
    RegistrySource source(nullptr);
    EXPECT_EQ(served(source), "a:t: ");
    ASSERT_TRUE(source.start());
    registry.setNumber("VORN.CUR.a.TYPE");
    registry.resource("b", {"EXTRA=x"});
    becomes(source, "a:t: b:t: ");
    const std::string line =
        "resource key a: its value TYPE is no text (its previous version stays)";
    EXPECT_TRUE(eventually([&] { return logged(line) == 1; }));
    registry.set("VORN.CUR.a.STATE@alpha", "x");
    registry.set("VORN.CUR.b.STATE@alpha", "x");
    becomes(source, "a:t: b:t:x ");
    EXPECT_EQ(logged(line), 1u);
    registry.set("VORN.CUR.a.TYPE", "u");
    becomes(source, "a:u:x b:t:x ");
    EXPECT_EQ(logged("resource key b: its value EXTRA is no text"), 1u);
}

TEST_F(SourceTest, ServesTheLastModelWhileTheRegistryIsAway) {
    registry.resource("a");
    RegistrySource source(nullptr);
    ASSERT_TRUE(source.start());
    const auto isAway = [&](std::size_t times) {
        return eventually([&] { return logged("the registry is away: ") == times; });
    };
    writeFile(registry.path() + "/DOWN", "");
    EXPECT_TRUE(isAway(1)) << "noticed without a change";
    source.refresh();
    EXPECT_EQ(served(source), "a:t: ");
    std::filesystem::remove(registry.path() + "/DOWN");
    registry.set("VORN.CUR.a.TYPE", "u");
    becomes(source, "a:u: ");
    std::filesystem::rename(registry.path(), registry.path() + ".old");
    source.refresh();
    EXPECT_TRUE(isAway(2));
    {
        const TestRegistry another("zks", roots());
        another.resource("z");
        source.refresh();
        becomes(source, "z:t: ");
        EXPECT_EQ(logged("the registry is back"), 2u);
    }
    std::filesystem::remove_all(registry.path() + ".old");
}

TEST(DebugLevels, FollowTheRegistry) {
    const TestRegistry registry("zks", {"SYSTEM"});
    const std::string key = "SYSTEM.vorn.debug.alpha.MODULE";
    clsdcomp* const module = clsdcompreg("", "MODULE", 0, CLSD_STATE_ON, 1, nullptr);
    const auto reaches = [&](unsigned level) {
        return eventually([&] { return clsdget_loglvl(module) == level; });
    };
    DebugLevels levels;
    ASSERT_TRUE(levels.start());
    registry.set("SYSTEM.vorn.debug.alpha.NONE", "2"); // no module of this process
    registry.set(key, "4");
    EXPECT_TRUE(reaches(4)) << "the way to the key was made while it was watched";
    registry.set(key, "9");
    EXPECT_TRUE(reaches(5));
    EXPECT_EQ(registry.text(key), "9") << "nothing is written back";
    registry.remove("SYSTEM.vorn");
    registry.set(key, "3");
    EXPECT_TRUE(reaches(3));
}

} // namespace
