#include "platform/include/registry.h"

#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include <csignal>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <thread>

namespace fs = std::filesystem;

namespace {

/// A store in a temporary folder, and short ways to use it.
class RegistryStore : public ::testing::Test {
protected:
    void SetUp() override {
        char folder[] = "/tmp/vorn-registry.XXXXXX";
        ASSERT_NE(mkdtemp(folder), nullptr);
        m_folder = folder;
        m_url = "dir:" + m_folder + "/store";
        ASSERT_EQ(przks_create_store(m_url.c_str(), nullptr, nullptr, nullptr), PRZKS_OK);
        m_ctx = open(PRZKS_DEFAULT);
        ASSERT_NE(m_ctx, nullptr);
    }
    void TearDown() override {
        przks_terminate(m_ctx);
        fs::remove_all(m_folder);
    }

    przks_ctx* open(unsigned level) {
        przks_init_arg arg;
        arg.url = m_url.c_str();
        przks_ctx* ctx = nullptr;
        m_status = przks_init_ext2(&ctx, level, m_text, nullptr, &arg);
        return ctx;
    }
    static int set(przks_ctx* ctx, const std::string& name, const std::string& value) {
        return przks_create_n_set_key(ctx, nullptr, name.c_str(), nullptr, przks_dtype_ZELTEXT,
                                      value.data(), static_cast<unsigned>(value.size()), nullptr);
    }
    /// The value, or the status in angle brackets.
    static std::string get(przks_ctx* ctx, const std::string& name) {
        przks_key* key = nullptr;
        int status = przks_open_key(ctx, name.c_str(), &key);
        std::string value(PRZKS_MAX_VALUE, '\0');
        unsigned length = PRZKS_MAX_VALUE;
        if (status == PRZKS_OK) status = przks_get_value(ctx, key, nullptr, value.data(), &length);
        przks_close_key(ctx, key);
        return status == PRZKS_OK ? value.substr(0, length) : '<' + std::to_string(status) + '>';
    }
    static std::string subkeys(przks_ctx* ctx, const std::string& name) {
        std::string all;
        przks_key* key = nullptr;
        if (przks_open_key(ctx, name.c_str(), &key) != PRZKS_OK) return "<none>";
        char found[PRZKS_MAX_COMPONENT + 1];
        for (unsigned index = 0, length = sizeof found;
             przks_enum_subkey(ctx, key, index, found, &length) == PRZKS_OK;
             ++index, length = sizeof found)
            all += std::string(found) + ' ';
        przks_close_key(ctx, key);
        return all;
    }

    std::string m_folder, m_url;
    char m_text[PRZKS_ERRORTEXT_SIZE] = {};
    int m_status = 0;
    przks_ctx* m_ctx = nullptr;
};

} // namespace

TEST_F(RegistryStore, NamesOfAnyBytesStayInsideTheStore) {
    for (const std::string name : {"VORN.CUR.app!db", "a", "a.b", "/etc", "x/", "\xff\x01=%"}) {
        EXPECT_EQ(set(m_ctx, name, name), PRZKS_OK) << name;
        EXPECT_EQ(get(m_ctx, name), name);
    }
    for (const std::string name : {"a..b", ".a", "a.", "../../x"}) {
        EXPECT_EQ(set(m_ctx, name, "x"), PRZKS_BADNAME) << name;
    }
    EXPECT_EQ(set(m_ctx, std::string(PRZKS_MAX_COMPONENT + 1, 'n'), "x"), PRZKS_BADNAME);
    EXPECT_EQ(std::distance(fs::directory_iterator(m_folder), {}), 1);
    EXPECT_EQ(set(m_ctx, "big", std::string(PRZKS_MAX_VALUE, 'v')), PRZKS_OK);
    EXPECT_EQ(set(m_ctx, "big", std::string(PRZKS_MAX_VALUE + 1, 'v')), PRZKS_BADARG);
    EXPECT_EQ(get(m_ctx, "big").size(), PRZKS_MAX_VALUE);
}

TEST_F(RegistryStore, KeysAreListedInOrderMovedAndDeletedWithWhatTheyHold) {
    for (const char* name : {"s.r.b", "s.r.a", "s.r.a.x", "s.r.B", "cur.old"})
        set(m_ctx, name, name);
    EXPECT_EQ(subkeys(m_ctx, "s.r"), "B a b ");
    EXPECT_EQ(get(m_ctx, "s.r.a"), "s.r.a") << "a key keeps its value beside its sub-keys";
    przks_key* key = nullptr;
    przks_key* target = nullptr;
    ASSERT_EQ(przks_open_key(m_ctx, "s.r", &key), PRZKS_OK);
    ASSERT_EQ(przks_open_key(m_ctx, "cur", &target), PRZKS_OK);
    EXPECT_EQ(przks_move_key(m_ctx, key, target, "old"), PRZKS_EXISTS);
    EXPECT_EQ(przks_move_key(m_ctx, key, target, "r"), PRZKS_OK);
    EXPECT_EQ(get(m_ctx, "cur.r.a.x") + get(m_ctx, "s.r.b"), "s.r.a.x<4>");
    EXPECT_EQ(przks_delete_key(m_ctx, key), PRZKS_HASSUBKEYS);
    EXPECT_EQ(przks_delete_key(m_ctx, key, PRZKS_DELETE_TREE), PRZKS_OK);
    EXPECT_EQ(subkeys(m_ctx, "cur"), "old ");
    przks_close_key(m_ctx, key);
    przks_close_key(m_ctx, target);
}

TEST_F(RegistryStore, SubKeysAreReadInOneCall) {
    for (const char* name : {"r", "r.b", "r.a", "r.a.x"}) set(m_ctx, name, name);
    fs::resize_file(m_folder + "/store/keys/r/b", 3);
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
    std::ofstream(m_folder + "/store/DOWN");
    EXPECT_EQ(get(m_ctx, "a"), "<24>");
    EXPECT_EQ(open(PRZKS_DEFAULT), nullptr);
    EXPECT_NE(m_text[0], '\0');
    przks_ctx* const reboot = open(PRZKS_REBOOT);
    EXPECT_EQ(get(reboot, "a"), "1");
    EXPECT_EQ(set(reboot, "a", "2"), PRZKS_READONLY);
    przks_terminate(reboot);
    fs::remove(m_folder + "/store/DOWN");
    EXPECT_EQ(get(m_ctx, "a"), "1");
    m_url += "-not-there";
    EXPECT_EQ(open(PRZKS_DEFAULT), nullptr);
    EXPECT_EQ(m_status, PRZKS_NOSTORE);
    EXPECT_STREQ(m_text, "");
}

TEST_F(RegistryStore, DamagedFilesAreToldAndNothingElseIsLost) {
    set(m_ctx, "whole", "w");
    set(m_ctx, "damaged", "some value");
    for (const auto& file : fs::recursive_directory_iterator(m_folder + "/store"))
        if (file.path().filename().string().find("damaged") != std::string::npos)
            fs::resize_file(file.path(), file.file_size() - 1);
    EXPECT_EQ(get(m_ctx, "damaged") + get(m_ctx, "whole"), "<9>w");
    char text[PRZKS_ERRORTEXT_SIZE];
    przks_get_last_error(m_ctx, text, sizeof text);
    EXPECT_NE(std::string(text).find("damaged"), std::string::npos) << text;
}

TEST_F(RegistryStore, ReadersNeverSeeHalfOfWhatKilledWritersWrote) {
    set(m_ctx, "shared", std::string(1000, 'a'));
    for (int round = 0; round < 30; ++round) {
        const pid_t writer = fork();
        if (writer == 0)
            for (char c = 'a';; c = c == 'z' ? 'a' : static_cast<char>(c + 1))
                set(m_ctx, "shared", std::string(static_cast<std::size_t>(1000 + c * 40), c));
        for (int read = 0; read < 100; ++read) {
            const std::string value = get(m_ctx, "shared");
            const std::size_t right = value[0] == 'a' && value.size() == 1000
                                          ? 1000
                                          : static_cast<std::size_t>(1000 + value[0] * 40);
            ASSERT_EQ(value, std::string(right, value[0]));
        }
        kill(writer, SIGKILL);
        waitpid(writer, nullptr, 0);
    }
    EXPECT_EQ(set(m_ctx, "shared", "after"), PRZKS_OK);
    EXPECT_EQ(przks_clean(m_ctx), PRZKS_OK);
    EXPECT_EQ(get(m_ctx, "shared"), "after");
}

TEST_F(RegistryStore, ChangesBelowAWatchedKeyAreNoticed) {
    set(m_ctx, "cur.r1.STATE", "ONLINE");
    set(m_ctx, "cur.r2.STATE", "ONLINE");
    przks_watcher* watcher = nullptr;
    ASSERT_EQ(przks_watch(m_ctx, "cur", 0, &watcher), PRZKS_OK);
    const auto next = [&](int timeout) {
        char name[PRZKS_MAX_COMPONENT + 1];
        unsigned length = sizeof name;
        przks_change change = PRZKS_CHANGE_NONE;
        EXPECT_EQ(przks_watch_next(watcher, timeout, &change, name, &length), PRZKS_OK);
        return std::to_string(change) + name;
    };
    EXPECT_EQ(next(0), "0");
    set(m_ctx, "cur.r2.STATE", "OFFLINE");
    EXPECT_EQ(next(5000), "1r2");
    set(m_ctx, "cur.r3", "new");
    EXPECT_EQ(next(5000), "1r3");
    EXPECT_EQ(przks_watch_close(watcher), PRZKS_OK);
}
