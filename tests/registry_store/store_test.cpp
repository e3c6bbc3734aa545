#include "tests/registry_store/store_support.h"

namespace fs = std::filesystem;

TEST_F(RegistryStore, NamesOfAnyBytesStayInsideTheStore) {
    const std::string longest(PRZKS_MAX_COMPONENT, 'n');
    const std::string longest_escaped(PRZKS_MAX_COMPONENT / 3, '\x80');
    const std::vector<std::string> good = {
        "VORN.CUR.app!db", "/",     "/etc/passwd",   "=", "=t1-2-3", "=d1-2-3", "%2F",
        "\xff\x01\n",      longest, longest_escaped, ""};
    for (const std::string& name : good) {

        EXPECT_EQ(set(m_ctx, name, name), PRZKS_OK) << name;
        EXPECT_EQ(get(m_ctx, name), name);
    }
    const std::vector<std::string> bad = {".",
                                          "..",
                                          "../../x",
                                          "a..b",
                                          ".a",
                                          "a.",
                                          longest + 'n',
                                          "a." + longest_escaped + "\x80",
                                          std::string(PRZKS_MAX_NAME + 1, 'a')};
    for (const std::string& name : bad) {

        EXPECT_EQ(set(m_ctx, name, name), PRZKS_BADNAME) << name;
        EXPECT_EQ(get(m_ctx, name), "<10>");
    }
    EXPECT_EQ(subkeys(m_ctx, ""), "%2F / /etc/passwd = =d1-2-3 =t1-2-3 VORN " + longest + ' ' +
                                      longest_escaped + " \xff\x01\n ");
    EXPECT_EQ(przks_clean(m_ctx), PRZKS_OK);
    EXPECT_EQ(get(m_ctx, "=t1-2-3"), "=t1-2-3");
    EXPECT_EQ(std::distance(fs::directory_iterator(m_folder), {}), 1);
    EXPECT_EQ(std::distance(fs::directory_iterator(m_store), {}), 2) << "FORMAT and keys";

    std::string deep = longest; // below what the kernel takes in one path
    for (int level = 0; level < 30; ++level) deep += '.' + longest;
    EXPECT_EQ(set(m_ctx, deep, "deep"), PRZKS_OK);
    EXPECT_EQ(get(m_ctx, deep), "deep");
    std::string deepest = "a";
    while (deepest.size() + 2 <= PRZKS_MAX_NAME) deepest += ".a";
    EXPECT_EQ(get(m_ctx, deepest), "<4>");
    EXPECT_EQ(remove(m_ctx, longest), PRZKS_OK);
    EXPECT_EQ(leftovers(), 0);
}

TEST_F(RegistryStore, ValuesComeBackAsTheyWereGivenOrAreRefused) {
    const std::string bytes(PRZKS_MAX_VALUE + 1, '\x7f');
    const struct {
        int type;
        unsigned length;
        int status;
    } rows[] = {{przks_dtype_NOVALUE, 0, PRZKS_OK},
                {przks_dtype_NOVALUE, 1, PRZKS_BADARG},
                {przks_dtype_UB4, 4, PRZKS_OK},
                {przks_dtype_UB4, 3, PRZKS_BADARG},
                {przks_dtype_UBIG_ZEL, 8, PRZKS_OK},
                {przks_dtype_UBIG_ZEL, 4, PRZKS_BADARG},
                {przks_dtype_ZELTEXT, 5, PRZKS_OK}, // without its NUL
                {przks_dtype_MULTI_ZELTEXT, 0, PRZKS_OK},
                {przks_dtype_BYTESTREAM, PRZKS_MAX_VALUE, PRZKS_OK},
                {przks_dtype_BYTESTREAM, PRZKS_MAX_VALUE + 1, PRZKS_BADARG},
                {6, 1, PRZKS_BADARG},
                {-1, 1, PRZKS_BADARG}};
    for (const bool folder : {false, true})
        on_key(m_ctx, "", [&](przks_key* root) {
            przks_key* key = nullptr;
            set(m_ctx, "k", "before");
            if (folder) set(m_ctx, "k.sub", "");
            EXPECT_EQ(przks_open_key(m_ctx, "k", &key, root), PRZKS_OK);
            for (const auto& row : rows) {
                const auto type = static_cast<przks_dtype>(row.type);
                EXPECT_EQ(przks_set_value(m_ctx, key, type, bytes.data(), row.length), row.status)
                    << row.type << ' ' << row.length;
                std::string found(PRZKS_MAX_VALUE, '\0');
                unsigned length = PRZKS_MAX_VALUE;
                przks_dtype kind = przks_dtype_NOVALUE;
                EXPECT_EQ(przks_get_value(m_ctx, key, &kind, found.data(), &length), PRZKS_OK);
                if (row.status != PRZKS_OK) continue;
                EXPECT_EQ(kind, type);
                EXPECT_EQ(found.substr(0, length), bytes.substr(0, row.length));
                if (length == 0) continue;
                unsigned room = length - 1;
                found[0] = '!';
                EXPECT_EQ(przks_get_value(m_ctx, key, &kind, found.data(), &room), PRZKS_SHORTBUF);
                EXPECT_EQ(room, length);
                EXPECT_EQ(found[0], '!');
            }
            EXPECT_EQ(przks_set_value(m_ctx, key, przks_dtype_ZELTEXT, nullptr, 1), PRZKS_BADARG);
            return przks_close_key(m_ctx, key);
        });
}

TEST_F(RegistryStore, KeysAreListedInOrderMovedAndDeletedWithWhatTheyHold) {
    for (const char* name : {"s.r.b", "s.r.a", "s.r.a.x", "s.r.B", "s.r.\xe4", "cur.old"})
        set(m_ctx, name, name);
    EXPECT_EQ(subkeys(m_ctx, "s.r"), "B a b \xe4 ") << "bytes have no sign";
    EXPECT_EQ(get(m_ctx, "s.r.a"), "s.r.a") << "a key keeps its value beside its sub-keys";
    przks_key* key = nullptr;
    przks_key* other = nullptr;
    przks_key* target = nullptr;
    ASSERT_EQ(przks_open_key(m_ctx, "s.r", &key), PRZKS_OK);
    ASSERT_EQ(przks_open_key(m_ctx, "s.r", &other), PRZKS_OK);
    ASSERT_EQ(przks_open_key(m_ctx, "cur", &target), PRZKS_OK);
    char name[PRZKS_MAX_COMPONENT + 1];
    unsigned length = 1;
    EXPECT_EQ(przks_enum_subkey(m_ctx, other, 0, name, &length), PRZKS_SHORTBUF);
    EXPECT_EQ(length, 1u);
    set(m_ctx, "s.r.A", "new");
    length = sizeof name;
    EXPECT_EQ(przks_enum_subkey(m_ctx, other, 0, name, &length), PRZKS_OK);
    EXPECT_STREQ(name, "B") << "the list of an open key stays";
    EXPECT_EQ(przks_move_key(m_ctx, key, key, "x"), PRZKS_BADARG) << "not below itself";
    EXPECT_EQ(przks_move_key(m_ctx, key, nullptr, "no.where"), PRZKS_NOTFOUND);
    EXPECT_EQ(przks_move_key(m_ctx, key, target, "old"), PRZKS_EXISTS);
    EXPECT_EQ(przks_move_key(m_ctx, key, target, "r"), PRZKS_OK);
    EXPECT_EQ(get(m_ctx, "cur.r.a.x") + get(m_ctx, "s.r.b"), "s.r.a.x<4>");
    unsigned none = 0;
    EXPECT_EQ(przks_get_value(m_ctx, other, nullptr, nullptr, &none), PRZKS_NOTFOUND);
    EXPECT_NE(last_error(m_ctx).find("\"s.r\""), std::string::npos) << last_error(m_ctx);
    EXPECT_EQ(przks_move_key(m_ctx, key, target, "old", PRZKS_MOVE_REPLACE), PRZKS_OK);
    EXPECT_EQ(dump(m_ctx, "cur"),
              "old= ( A=new B=s.r.B a=s.r.a ( x=s.r.a.x ) b=s.r.b \xe4=s.r.\xe4 ) ");
    EXPECT_EQ(przks_delete_key(m_ctx, key), PRZKS_HASSUBKEYS);
    EXPECT_EQ(przks_delete_key(m_ctx, key, PRZKS_DELETE_TREE), PRZKS_OK);
    EXPECT_EQ(przks_delete_key(m_ctx, target), PRZKS_OK);
    EXPECT_EQ(przks_create_n_set_key(m_ctx, target, "back.again", nullptr, przks_dtype_ZELTEXT, "",
                                     1, nullptr),
              PRZKS_NOTFOUND)
        << "what was deleted stays so";
    EXPECT_EQ(subkeys(m_ctx, ""), "s ");
    for (przks_key* const open_key : {key, other, target, key}) przks_close_key(m_ctx, open_key);
    EXPECT_EQ(przks_delete_key(m_ctx, key), PRZKS_BADARG) << "closed";
    EXPECT_EQ(leftovers(), 0);
}

TEST_F(RegistryStore, SubKeysAreReadInOneCall) {
    for (const char* name : {"r", "r.b", "r.a", "r.a.x"}) set(m_ctx, name, name);
    fs::resize_file(m_store + "/keys/r/b", 3);
    const przks_visitor visit = [](void* arg, const char* name, int status, przks_dtype,
                                   const void* value, unsigned length) {
        auto& told = *static_cast<std::string*>(arg);
        told += std::string(name) + (status == PRZKS_OK ? '=' : '!');
        if (value != nullptr) told.append(static_cast<const char*>(value), length);
        return told.size() > 20 ? 77 : 0;
    };
    przks_key* key = nullptr;
    ASSERT_EQ(przks_open_key(m_ctx, "r", &key), PRZKS_OK);
    std::string told;
    EXPECT_EQ(przks_read_subkeys(m_ctx, key, visit, &told), PRZKS_OK);
    EXPECT_EQ(told, "a=r.ab!");
    told.resize(20);
    EXPECT_EQ(przks_read_subkeys(m_ctx, key, visit, &told), 77) << "the visitor ends the reading";
    EXPECT_EQ(przks_delete_key(m_ctx, key, PRZKS_DELETE_TREE), PRZKS_OK);
    EXPECT_EQ(przks_read_subkeys(m_ctx, key, visit, &told), PRZKS_NOTFOUND);
    EXPECT_EQ(przks_read_subkeys(m_ctx, key, nullptr, nullptr), PRZKS_BADARG);
    przks_close_key(m_ctx, key);
}

TEST_F(RegistryStore, TheRebootLevelReadsWhileTheServiceIsDown) {
    set(m_ctx, "a", "1");
    przks_ctx* const cache = open(PRZKS_CACHE);
    przks_ctx* const reboot = open(PRZKS_REBOOT);
    przks_key* key = nullptr;
    ASSERT_EQ(przks_open_key(m_ctx, "a", &key), PRZKS_OK);
    EXPECT_EQ(get(cache, "a"), "1");
    std::ofstream(m_store + "/DOWN");
    EXPECT_EQ(get(m_ctx, "a") + get(cache, "a") + get(reboot, "a"), "<24><24>1");
    EXPECT_NE(last_error(m_ctx).find("DOWN"), std::string::npos) << last_error(m_ctx);
    EXPECT_EQ(przks_close_key(m_ctx, key), PRZKS_DEFAULT_LOST);
    EXPECT_EQ(przks_close_key(m_ctx, key), PRZKS_OK) << "it was closed all the same";
    for (const unsigned level : {+PRZKS_DEFAULT, +PRZKS_CACHE, 77u}) {
        EXPECT_EQ(open(level), nullptr);
        EXPECT_EQ(m_status, PRZKS_DEFAULT_LOST);
        EXPECT_STRNE(m_text, "");
    }
    EXPECT_EQ(set(reboot, "a", "2"), PRZKS_READONLY);
    fs::remove(m_store + "/DOWN");
    EXPECT_EQ(get(m_ctx, "a") + get(cache, "a"), "11");
    for (const auto& [ctx, level] :
         {std::pair(m_ctx, "default"), std::pair(cache, "cache"), std::pair(reboot, "reboot")}) {
        EXPECT_EQ(set(m_ctx, "a", level), PRZKS_OK);
        EXPECT_EQ(get(ctx, "a"), level) << "no level answers with an old value";
    }
    fs::remove_all(m_store);
    EXPECT_EQ(get(m_ctx, "a") + get(reboot, "a"), "<15><15>");
    EXPECT_NE(last_error(m_ctx).find("removed"), std::string::npos) << last_error(m_ctx);
    EXPECT_EQ(set(m_ctx, "a", "2"), PRZKS_NOSTORE);
    przks_terminate(cache);
    przks_terminate(reboot);
}

TEST_F(RegistryStore, ThreadsShareAContextAndAKey) {
    set(m_ctx, "t", "");
    przks_ctx* const cache = open(PRZKS_CACHE, PRZKS_INIT_BULK);
    const auto work = [&](char letter) {
        const std::string name = std::string("t.") + letter;
        for (int round = 0; round < 100; ++round) {
            const std::string value(static_cast<std::size_t>(round), letter);
            EXPECT_EQ(set(cache, name, value), PRZKS_OK) << last_error(cache);
            EXPECT_EQ(get(cache, name), value);
            EXPECT_EQ(set(cache, "t", value), PRZKS_OK) << last_error(cache);
            EXPECT_EQ(get(cache, "t.none"), "<4>");
            EXPECT_NE(last_error(cache).find("t.none"), std::string::npos);
        }
    };
    on_threads(4, [&](std::size_t thread) { work("abcd"[thread]); });
    EXPECT_EQ(subkeys(m_ctx, "t"), "a b c d ");
    przks_terminate(cache);
}

TEST_F(RegistryStore, ChangesBelowAWatchedKeyAreNoticed) {
    for (const unsigned folders : {0u, 1u}) { // the kernel tells, or folders are looked at in turn
        set(m_ctx, "cur.r1.STATE", "ONLINE");
        set(m_ctx, "cur.r2.STATE", "ONLINE");
        przks_watcher* watcher = nullptr;
        ASSERT_EQ(przks_watch(m_ctx, "cur", folders, &watcher), PRZKS_OK);
        const auto next = [&](int timeout) {
            char name[PRZKS_MAX_COMPONENT + 1];
            unsigned length = sizeof name;
            przks_change change = PRZKS_CHANGE_NONE;
            EXPECT_EQ(przks_watch_next(watcher, timeout, &change, name, &length), PRZKS_OK);
            return std::to_string(change) + name;
        };
        // What is looked at in turn may be told once more while it is recent.
        const auto wait_for = [&](const std::string& change) {
            std::string told;
            while (told != change && told != "0") told = next(20000);
            EXPECT_EQ(told, change);
        };
        set(m_ctx, "cur.r2.STATE", "OFFLINE");
        wait_for("1r2");
        set(m_ctx, "cur.r3", "new");
        wait_for("1r3");
        remove(m_ctx, "cur");
        set(m_ctx, "cur", "again");
        wait_for("3");
        EXPECT_EQ(przks_watch_close(watcher), PRZKS_OK);
        EXPECT_EQ(przks_watch_close(watcher), PRZKS_BADARG);
    }
}
