#include "tav/registry/tavzks.h"
#include "tests/registry/registry_support.h"

using namespace TAV;

namespace {

using namespace std::string_literals;

class Resources : public RegistryTest {
protected:
    void SetUp() override {
        RegistryTest::SetUp();
        EXPECT_EQ(tavzksCrRoot(), PRZKS_OK);
        EXPECT_EQ(tavzksCrRoot(), PRZKS_OK) << "roots that stand are left alone";
    }
    /// Adds a resource whose attributes all have the value "v".
    static void add(const std::string& name, const std::vector<std::string>& attributes,
                    tavzksResourceLoc loc = TAVZKS_CURRENT, const std::string& value = "v") {
        EXPECT_EQ(tavzksAddResource(name, loc), PRZKS_OK) << name;
        for (const std::string& attribute : attributes)
            EXPECT_EQ(tavzksSetvalue(name, attribute, value, loc), PRZKS_OK) << attribute;
    }
    static std::string value(const std::string& name, const std::string& attribute,
                             tavzksResourceLoc loc = TAVZKS_CURRENT) {
        std::string found;
        const int rc = tavzksGetvalue(name, attribute, found, loc);
        return rc == PRZKS_OK ? found : '<' + std::to_string(rc) + '>';
    }
    static std::string listed(tavzksResourceLoc loc = TAVZKS_CURRENT) {
        std::string all, name;
        przks_key* key = nullptr;
        int count = 0, rc = 0;
        while ((rc = tavzksGetres(name, &key, count, loc)) == PRZKS_OK) all += name + ' ';
        EXPECT_EQ(key, nullptr);
        return all + '<' + std::to_string(rc) + '>';
    }
};

} // namespace

TEST_F(Resources, StandUnderTheirTranslatedNames) {
    add("app.db.inst", {"TYPE"});
    EXPECT_EQ(get("VORN.CUR.app!db!inst") + get("VORN.CUR.app!db!inst.TYPE"), "v\0"s);
    EXPECT_EQ(value("app.db.inst", "TYPE"), "v");
    add("app.db.inst", {"TYPE"}, TAVZKS_HISTORY, "old");
    EXPECT_EQ(get("VORN.HIS.app!db!inst.TYPE"), "old\0"s);
    EXPECT_EQ(tavzksAddResource("app.db.inst", TAVZKS_CURRENT), PRZKS_EXISTS);
    EXPECT_TRUE(tavzksLookup("app.db.inst", "TYPE") && tavzksLookup("app.db.inst", ""));
    EXPECT_FALSE(tavzksLookup("app.db.inst", "NAME") || tavzksLookup("app", ""));
    EXPECT_EQ(tavzksSetPerm("app.db.inst", "owner:root:rwx"), PRZKS_OK);
    EXPECT_EQ(get("VORN.SEC.app!db!inst"), "owner:root:rwx\0"s);
    std::string permissions;
    EXPECT_EQ(tavzksGetPerm("app.db.inst", permissions), PRZKS_OK);
    EXPECT_EQ(permissions, "owner:root:rwx");
    expectLogged({" Successfully created key VORN.CUR.app!db!inst\n",
                  " Successfully set key: VORN.CUR.app!db!inst.TYPE\n",
                  " Successfully got value for key VORN.CUR.app!db!inst.TYPE\n",
                  " Successfully read ZKS key VORN.SEC.app!db!inst\n"});
}

TEST_F(Resources, StagedOnThisNodeAreCommittedInOneMove) {
    add("a.b", {"TYPE"}, TAVZKS_STAGE, "new");
    EXPECT_EQ(get("VORN.STAGE.node3.a!b.TYPE"), "new\0"s);
    EXPECT_EQ(tavzksCommitResource("a.b"), PRZKS_OK);
    EXPECT_EQ(get("VORN.STAGE.node3.a!b") + get("VORN.CUR.a!b.TYPE"), "<4>new\0"s);
    expectLogged({" Commit Resource done.\n"});

    add("a.b", {"TYPE"}, TAVZKS_STAGE, "newer");
    EXPECT_EQ(tavzksCommitResource("a.b"), PRZKS_EXISTS);
    EXPECT_EQ(value("a.b", "TYPE") + value("a.b", "TYPE", TAVZKS_STAGE), "newnewer");
    EXPECT_EQ(tavzksCommitResource("a.b", nullptr, true), PRZKS_OK);
    EXPECT_EQ(value("a.b", "TYPE"), "newer");

    add("a.b", {}, TAVZKS_STAGE);
    for (const char* area : {TAVRESSTAGE, TAVRESCUR})
        EXPECT_EQ(tavzksRemove("a.b", area), PRZKS_OK);
    EXPECT_EQ(get("VORN.STAGE.node3.a!b") + get("VORN.CUR.a!b"), "<4><4>");
    EXPECT_EQ(tavzksRemove("a.b", TAVRESCUR), PRZKS_NOTFOUND);
    EXPECT_EQ(tavzksRemove("a.b", "VORN"), 2);
}

TEST_F(Resources, AreListedWhenCompleteAndNotOnTheirWayOut) {
    for (const char* name : {"b.c", "a"}) add(name, {"NAME", "TYPE", "AUTO_START"});
    add("half", {"NAME", "TYPE"});
    add("leaving", {"NAME", "TYPE", "AUTO_START", "IS_UNREGISTERING"});
    EXPECT_EQ(listed(), "a b.c <6>");
    EXPECT_EQ(listed(TAVZKS_HISTORY) + listed(TAVZKS_STAGE), "<6><11>");
    setDown(true);
    EXPECT_EQ(listed(), "<24>");
    setDown(false);
    expectLogged({" Resource half has incomplete attribute set.\n"});
}

TEST_F(Resources, ForeignAndHostileValuesAreReadSafely) {
    add("r", {"LONG"}, TAVZKS_CURRENT, std::string(PRZKS_MAX_VALUE - 1, 'x'));
    put("VORN.CUR.r.NO_NUL", "text");
    put("VORN.CUR.r.LONG_NO_NUL", std::string(PRZKS_MAX_VALUE, 'y'));
    put("VORN.CUR.r.BYTES", "a\0b"s, przks_dtype_BYTESTREAM);
    EXPECT_EQ(value("r", "NO_NUL") + value("r", "BYTES"), "texta");
    EXPECT_EQ(value("r", "LONG_NO_NUL"), std::string(PRZKS_MAX_VALUE, 'y'));
    std::map<std::string, std::string> values;
    EXPECT_EQ(tavzksGetValues("r", values), 0);
    EXPECT_EQ(values.size(), 4u);
    EXPECT_EQ(values["LONG"].size() + values["NO_NUL"].size(), PRZKS_MAX_VALUE + 3u);
    EXPECT_EQ(tavzksGetValues("none", values), 2);
    EXPECT_EQ(tavzksGetValues("r", values, TAVZKS_STAGE), 2);

    EXPECT_EQ(tavzksSetvalue("r", "LONG", std::string(PRZKS_MAX_VALUE, 'x')), PRZKS_BADARG);
    EXPECT_EQ(tavzksSetvalue("r", "TYPE", "a\0b"s), PRZKS_BADARG);
    EXPECT_EQ(tavzksSetvalue("r", "TY\0PE"s, "a"), PRZKS_BADNAME);
    EXPECT_FALSE(tavzksLookup("r", "TYPE") || tavzksLookup("r", "TY"));
    EXPECT_EQ(tavzksAddResource("x\0y"s, TAVZKS_CURRENT), PRZKS_BADNAME);
    EXPECT_EQ(tavzksAddResource("x", static_cast<tavzksResourceLoc>(3)), PRZKS_BADARG);
    EXPECT_EQ(tavzksSetvalue("none", "TYPE", "t"), PRZKS_NOTFOUND);
    EXPECT_EQ(get("VORN.CUR.none") + get("VORN.CUR.x"), "<4><4>");
    expectLogged({" Unable to open root key: VORN.CUR.none\n"});
}
