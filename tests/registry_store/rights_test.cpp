#include "tests/registry_store/store_support.h"

#include <grp.h>
#include <sched.h>
#include <sys/mount.h>
#include <sys/resource.h>

namespace fs = std::filesystem;

namespace {

constexpr unsigned OTHER = 65534; ///< a user and group that owns nothing else

/// What `work` answers in a process of the other user.
std::string as_other(const std::function<std::string()>& work) {
    return in_child([&] {
        if (setgroups(0, nullptr) != 0 || setgid(OTHER) != 0 || setuid(OTHER) != 0)
            return std::string("<not another user>");
        return work();
    });
}

przks_security security_of(przks_ctx* ctx, const std::string& name) {
    przks_security security{0, 0, 0};
    on_key(ctx, name, [&](przks_key* key) { return przks_get_key_security(ctx, key, &security); });
    return security;
}

/// What each operation answers the other user on a key: read, list, set, create a sub-key, move,
/// change the mode, delete.
std::string try_everything(przks_ctx* ctx, const std::string& name) {
    std::string all;
    const auto note = [&](int status) { all += std::to_string(status) + ' '; };
    note(on_key(ctx, name, [&](przks_key* key) {
        char buffer[100];
        unsigned length = sizeof buffer;
        return przks_get_value(ctx, key, nullptr, buffer, &length);
    }));
    note(subkeys(ctx, name).starts_with('<') ? PRZKS_DENIED : PRZKS_OK);
    note(on_key(ctx, name, [&](przks_key* key) {
        return przks_set_value(ctx, key, przks_dtype_ZELTEXT, "other", 5);
    }));
    note(set(ctx, name + ".new", "other"));
    note(on_key(ctx, name, [&](przks_key* key) {
        const std::string moved = name + "-moved";
        const int status = przks_move_key(ctx, key, nullptr, moved.c_str());
        return status != PRZKS_OK ? status : przks_move_key(ctx, key, nullptr, name.c_str());
    }));
    note(on_key(ctx, name, [&](przks_key* key) {
        const przks_security mine{OTHER, OTHER, 0600};
        return przks_set_key_security(ctx, key, &mine);
    }));
    note(remove(ctx, name));
    return all;
}

} // namespace

TEST_F(RegistryStore, TheKernelDecidesWhatOtherUsersMay) {
    if (geteuid() != 0) GTEST_SKIP() << "only the superuser can become another user";
    const struct {
        const char* name;
        przks_security security;
        const char* answers;
    } rows[] = {
        {"public", {0, 0, 0644}, "0 0 8 8 8 8 8 "},
        {"secret", {0, 0, 0600}, "8 8 8 8 8 8 8 "},
        {"theirs", {OTHER, OTHER, 0640}, "0 0 0 0 8 0 8 "},
        {"group", {0, OTHER, 0660}, "0 0 0 0 8 8 8 "},
        {"open", {0, 0, 0666}, "0 0 0 0 8 8 8 "},
        {"open.mine", {OTHER, 0, 0644}, "0 0 0 0 0 0 0 "},
        // Who may write a key may rid it of what is below, and who only may that may no more.
        {"open.roots", {0, 0, 0644}, "0 0 8 8 0 8 0 "},
        {"secret.theirs", {OTHER, OTHER, 0644}, "8 8 8 8 8 8 8 "},
    };
    for (const auto& row : rows)
        ASSERT_EQ(przks_create_n_set_key(m_ctx, nullptr, row.name, &row.security,
                                         przks_dtype_ZELTEXT, "root", 4, nullptr),
                  PRZKS_OK);
    const przks_security not_in_group{OTHER, 0, 0644};
    ASSERT_EQ(przks_create_key(m_ctx, nullptr, "lost", &not_in_group, nullptr), PRZKS_OK);
    ASSERT_EQ(chmod((m_store + "/keys/lost").c_str(), 0755), 0); // as a chmod by its owner does
    for (const auto& row : rows)
        EXPECT_EQ(as_other([&] { return try_everything(m_ctx, row.name); }), row.answers)
            << row.name;
    EXPECT_EQ(get(m_ctx, "public") + get(m_ctx, "secret") + get(m_ctx, "secret.theirs"),
              "rootrootroot");
    EXPECT_EQ(get(m_ctx, "theirs") + get(m_ctx, "group.new"), "otherother");
    EXPECT_EQ(security_of(m_ctx, "group.new").uid, OTHER);
    set(m_ctx, "theirs.new", "root");
    EXPECT_EQ(security_of(m_ctx, "theirs.new").uid, OTHER) << "a new value is no new owner";
    set(m_ctx, "lost.roots", "root");
    EXPECT_EQ(as_other([&] { return std::to_string(set(m_ctx, "lost.roots", "other")); }), "0")
        << "whose group is not theirs, and is not passed on";
    EXPECT_EQ(przks_clean(m_ctx), PRZKS_OK) << last_error(m_ctx);
    EXPECT_EQ(leftovers(), 0) << "what another user could not remove";

    fs::permissions(m_store, fs::perms::owner_all);
    EXPECT_EQ(as_other([&] {
                  const bool opened = open(PRZKS_REBOOT) != nullptr;
                  return std::to_string(opened) + std::to_string(m_status) + m_text;
              }).substr(0, 10),
              "08cannot o");
}

TEST_F(RegistryStore, AChangeOfSecurityIsThatKeysAlone) {
    for (const char* name : {"a", "a.b", "a.b.c", "a.d"}) set(m_ctx, name, name);
    const przks_security before = security_of(m_ctx, "a.b.c");
    const przks_security secret{geteuid(), getegid(), 0600};
    for (const char* name : {"a.d", "a.b", "a"})
        EXPECT_EQ(
            on_key(m_ctx, name,
                   [&](przks_key* key) { return przks_set_key_security(m_ctx, key, &secret); }),
            PRZKS_OK)
            << last_error(m_ctx);
    EXPECT_EQ(security_of(m_ctx, "a").mode, 0600u);
    EXPECT_EQ(security_of(m_ctx, "a.b.c").mode, before.mode);
    EXPECT_EQ(dump(m_ctx, "a"), "b=a.b ( c=a.b.c ) d=a.d ");
    set(m_ctx, "a.b.new", "n");
    EXPECT_EQ(security_of(m_ctx, "a.b.new").mode, 0600u) << "as the key above it";
}

TEST_F(RegistryStore, AFileSizeLimitLeavesTheOldValue) {
    set(m_ctx, "k", "old");
    EXPECT_EQ(in_child([&] {
                  const rlimit limit{100, 100};
                  if (setrlimit(RLIMIT_FSIZE, &limit) != 0) return std::string("<no limit>");
                  std::string all = std::to_string(set(m_ctx, "k", std::string(85, 'x')));
                  all += get(m_ctx, "k");
                  return all += std::to_string(set(m_ctx, "k", std::string(84, 'x')));
              }),
              "17old0");
    EXPECT_EQ(leftovers(), 0);
}

TEST_F(RegistryStore, AFullOrReadOnlyDiskLeavesWhatWasThere) {
    const std::string told = in_child([&]() -> std::string {
        if (unshare(CLONE_NEWNS) != 0 ||
            mount("none", "/", nullptr, MS_REC | MS_PRIVATE, nullptr) != 0 ||
            mount("vorn", m_folder.c_str(), "tmpfs", 0, "size=400k,nr_inodes=40") != 0)
            return "<no file system>";
        if (przks_create_store(m_url.c_str(), nullptr, m_text, nullptr) != PRZKS_OK) return m_text;
        przks_ctx* const ctx = open(PRZKS_DEFAULT);
        const std::string large(PRZKS_MAX_VALUE, 'v');
        set(ctx, "small", "old");
        int status = 0;
        int fitted = 0;
        while ((status = set(ctx, "fill.k" + std::to_string(fitted), large)) == PRZKS_OK) ++fitted;
        std::string all = std::to_string(status) + (fitted > 0 ? " some " : " none ");
        all += std::to_string(set(ctx, "small", large)) + get(ctx, "small") + ' ';
        if (last_error(ctx).find("No space") == std::string::npos) all += last_error(ctx);
        int keys = 0; // so small that the number of files is what runs out
        remove(ctx, "fill.k0");
        while ((status = set(ctx, "many.k" + std::to_string(keys), "x")) == PRZKS_OK) ++keys;
        all += std::to_string(status) + ' ' + std::to_string(set(ctx, "small.sub", "y"));
        all += get(ctx, "small") + get(ctx, "small.sub") + get(ctx, "fill.k1").substr(0, 1);
        all += ' ' + std::to_string(leftovers());
        if (mount("vorn", m_folder.c_str(), "tmpfs", MS_REMOUNT | MS_RDONLY, nullptr) != 0)
            return "<not to be made read-only>";
        all += ' ' + std::to_string(set(ctx, "small", "new")) + get(ctx, "small");
        all += std::to_string(set(ctx, "other", "new")) + get(ctx, "other");
        return all + std::to_string(remove(ctx, "fill"));
    });
    if (told == "<no file system>") GTEST_SKIP() << "no file system of its own may be mounted here";
    EXPECT_EQ(told, "17 some 17old 17 17old<4>v 0 12old12<4>12");
}
