#include "tests/registry_store/store_support.h"

namespace fs = std::filesystem;

namespace {

/// What may happen to the file of a value, and what the text of the failure says then.
struct Damage {
    const char* says;
    bool replaceable; ///< by a new value
    void (*happen)(const std::string& file);
};

const Damage DAMAGES[] = {
    {"cut short", true, [](const std::string& file) { fs::resize_file(file, 0); }},
    {"cut short", true, [](const std::string& file) { fs::resize_file(file, 15); }},
    {"cut short", true, [](const std::string& file) { fs::resize_file(file, 20); }},
    {"longer than it says", true, [](const std::string& file) { fs::resize_file(file, 1 << 20); }},
    {"not a value", true, [](const std::string& file) { write_file(file, "A foreign text file"); }},
    {"unknown version", true,
     [](const std::string& file) { write_file(file, "VRGV" + std::string(20, '\2')); }},
    {"symbolic link", false,
     [](const std::string& file) {
         fs::remove(file);
         fs::create_symlink("/etc/passwd", file);
     }},
    {"not a regular file", false, [](const std::string& file) {
         fs::remove(file);
         mkfifo(file.c_str(), 0644);
     }}};

} // namespace

TEST_F(RegistryStore, ADamagedValueIsToldAndNothingElseIsLost) {
    for (const std::string form : {"file", "folder"})
        for (const Damage& damage : DAMAGES) {
            SCOPED_TRACE(form + ": " + damage.says);
            set(m_ctx, "area.file", "some value");
            set(m_ctx, "area.folder.sub", "below");
            set(m_ctx, "area.folder", "some value");
            set(m_ctx, "area.whole", "w");
            const std::string path =
                m_store + "/keys/area/" + (form == "file" ? "file" : "folder/=");
            fs::permissions(path, fs::perms::owner_write, fs::perm_options::add);
            damage.happen(path);
            EXPECT_EQ(get(m_ctx, "area." + form), "<9>");
            EXPECT_NE(last_error(m_ctx).find("area." + form), std::string::npos);
            EXPECT_NE(last_error(m_ctx).find(damage.says), std::string::npos) << last_error(m_ctx);
            EXPECT_EQ(get(m_ctx, "area.whole") + get(m_ctx, "area.folder.sub"), "wbelow");
            EXPECT_EQ(subkeys(m_ctx, "area"), "file folder whole ");
            const int status = set(m_ctx, "area." + form, "repaired");
            // A value in a folder is replaced whatever stands in its place.
            const bool repaired = damage.replaceable || form == "folder";
            EXPECT_EQ(status, repaired ? PRZKS_OK : PRZKS_IO);
            EXPECT_EQ(get(m_ctx, "area." + form), repaired ? "repaired" : "<9>");
            remove(m_ctx, "area");
            EXPECT_FALSE(fs::exists(m_store + "/keys/area")) << "damage does not stop deleting";
        }
}

TEST_F(RegistryStore, EveryByteOfAValuesFileIsChecked) {
    set(m_ctx, "k", "up");
    const std::string path = m_store + "/keys/k";
    const std::string whole = read_file(path);
    ASSERT_EQ(whole.size(), 18u);
    for (std::size_t at = 0; at < whole.size() * 8; ++at) {
        std::string flipped = whole;
        flipped[at / 8] = static_cast<char>(flipped[at / 8] ^ (1 << at % 8));
        write_file(path, flipped);
        ASSERT_EQ(get(m_ctx, "k"), "<9>") << "bit " << at;
    }
    write_file(path, whole);
    EXPECT_EQ(get(m_ctx, "k"), "up");
}

TEST_F(RegistryStore, ForeignFilesAreNeitherListedNorTouched) {
    set(m_ctx, "area.k", "v");
    const std::string foreign[] = {"keys/lower%2f", "keys/area/a.txt", "keys/area/=foreign",
                                   "keys/area/.hidden/=t1-2-3", "keys/area/name with blank"};
    fs::create_directory(m_store + "/keys/area/.hidden");
    for (const std::string& file : foreign) write_file(m_store + '/' + file, "mine");
    EXPECT_EQ(subkeys(m_ctx, "") + subkeys(m_ctx, "area"), "area k ");
    EXPECT_EQ(przks_clean(m_ctx), PRZKS_OK);
    for (const std::string& file : foreign) EXPECT_EQ(read_file(m_store + '/' + file), "mine");
}

TEST_F(RegistryStore, AStoreThatCannotBeOpenedSaysWhy) {
    set(m_ctx, "k", "v");
    const std::string good = m_url;
    const auto check = [&](const std::string& url, int status, const std::string& says) {
        m_url = url;
        for (const unsigned level : {PRZKS_DEFAULT, PRZKS_CACHE, PRZKS_REBOOT}) {
            EXPECT_EQ(open(level), nullptr) << url;
            EXPECT_EQ(m_status, status) << url << ": " << m_text;
            EXPECT_EQ(std::string(m_text).find(says) != std::string::npos, true) << m_text;
            EXPECT_EQ(m_text[0] == '\0', says.empty()) << m_text;
            EXPECT_EQ(last_error(nullptr), m_text);
        }
    };
    const std::string format = m_store + "/FORMAT";
    fs::create_directory(m_folder + "/empty");
    check(good + "-not-there", PRZKS_NOSTORE, "");
    check("dir:" + m_folder + "/empty", PRZKS_NOSTORE, "");
    check("dir:" + format, PRZKS_IO, "not a folder");
    check("dir:", PRZKS_CONFIG, "dir:PATH");
    check("ldap:somewhere", PRZKS_CONFIG, "dir:PATH");
    write_file(format + ".new", "vorn registry 2\n");
    fs::rename(format + ".new", format);
    check(good, PRZKS_IO, "FORMAT");
    fs::resize_file(format, 0);
    check(good, PRZKS_IO, "FORMAT");
    fs::remove(format);
    check(good, PRZKS_IO, "FORMAT is missing");
    EXPECT_EQ(przks_create_store(good.c_str(), nullptr, m_text, nullptr), PRZKS_EXISTS);
    write_file(format, "vorn registry 1\n");
    fs::rename(m_store + "/keys", m_store + "/elsewhere");
    check(good, PRZKS_IO, "root key is missing");
    fs::rename(m_store + "/elsewhere", m_store + "/keys");
    EXPECT_EQ(przks_create_store(good.c_str(), nullptr, m_text, nullptr), PRZKS_EXISTS);
    EXPECT_EQ(get(m_ctx, "k"), "v");
}
