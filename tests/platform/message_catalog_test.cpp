#include "platform/include/nls.h"
#include "platform/local/language.h"
#include "platform/local/message_catalog.h"
#include "tests/platform/node_support.h"

namespace {

namespace fs = std::filesystem;

/// An installation home of its own, with catalogs compiled from the texts a test gives.
class CatalogTest : public testing::Test {
protected:
    void SetUp() override {
        fs::remove_all(m_home);
        fs::create_directories(m_home);
        setenv("ZEL_VORN_HOME", m_home.c_str(), 1);
    }
    void TearDown() override { unsetenv("ZEL_VORN_HOME"); }

    [[nodiscard]] std::string path(const std::string& language) const {
        return m_home + "/vorn/mesg/" + language + "/VORN.cat";
    }

    void install(const std::string& language, const std::string& texts) const {
        install_catalog(m_home, language, texts);
    }

    std::string m_home = test_folder() + "/home";
};

/// A message handle of the product.
class Handle {
public:
    explicit Handle(const char* language) {
        lmsaicmt(&m_handle, "vorn", "VORN", lxhLaToId(language, std::strlen(language), nullptr),
                 nullptr);
    }
    ~Handle() { lmsatrm(&m_handle); }
    Handle(const Handle&) = delete;
    Handle& operator=(const Handle&) = delete;

    /// "STATUS text".
    std::string text(int number, std::size_t size = 100) {
        std::string buffer(size, '#');
        int status = -1;
        char* message = nullptr;
        lmsagbcmt(&m_handle, number, buffer.data(), size, &message, nullptr, 0, nullptr, &status);
        EXPECT_EQ(buffer.data(), message);
        return std::to_string(status) + " " + buffer.c_str();
    }

private:
    lmshdl m_handle{};
};

std::span<const std::byte> bytesOf(const std::string& text) {
    return std::as_bytes(std::span(text.data(), text.size()));
}

std::string folders(const char* name) {
    std::string all;
    for (const std::string& folder : language_of_name(name).folders) all += folder + " ";
    return all;
}

} // namespace

TEST(Language, FoldersOfAName) {
    EXPECT_EQ("de_AT de en ", folders("de_AT.UTF-8"));
    EXPECT_EQ("de_AT de en ", folders("DE_at@euro"));
    EXPECT_EQ("zh_Hant zh en ", folders("zh_Hant"));
    for (const char* const english : {"", "C", "POSIX", "C.UTF-8", "en"})
        EXPECT_EQ("en ", folders(english)) << english;
    const std::string tooLong(LANGUAGE_MAX_NAME + 1, 'd');
    for (const char* const hostile : {"../../etc", "de/../..", "..", ".", "/", "de\n", "d%s", "@x",
                                      "d\xC3\xA9", "de..UTF-8", tooLong.c_str()})
        EXPECT_EQ("en ", folders(hostile)) << hostile;
}

TEST_F(CatalogTest, TextsComeFromTheFirstFolderThatHasThem) {
    install("en", "1 en one\n2 en two\n3 en three\n5 caf\xC3\xA9\n");
    install("de", "1 de one\n2 de two\n");
    install("de_AT", "1 at one\n");
    Handle austrian("de_AT.UTF-8");
    EXPECT_EQ("0 at one", austrian.text(1));
    EXPECT_EQ("0 de two", austrian.text(2)) << "no alert: the language has it";
    EXPECT_EQ("2 en three", austrian.text(3)) << "an incomplete translation";
    for (const int missing : {4, 0, -1, 2147483647}) EXPECT_EQ("1 ", austrian.text(missing));
    EXPECT_EQ("0 en one", Handle("fr").text(1)) << "a language without a catalog";
    install("en_GB", "1 gb one\n");
    EXPECT_EQ("0 en three", Handle("en_GB").text(3)) << "English has it";
    EXPECT_EQ("0 caf\xC3\xA9", Handle("../../../etc/passwd").text(5, 6));
    EXPECT_EQ("3 caf", Handle("C").text(5, 5)) << "cut before the character that does not fit";
}

TEST_F(CatalogTest, CatalogsAreLookedForOnceAHandle) {
    Handle early("en");
    install("en", "1 one\n");
    EXPECT_EQ("0 one", early.text(1)) << "nothing is opened before the first text";
    fs::resize_file(path("en"), 0);
    EXPECT_EQ("0 one", early.text(1)) << "a file rewritten in place does no harm";
    EXPECT_EQ("1 ", Handle("en").text(1));
}

TEST_F(CatalogTest, DamagedCatalogsAreMissingOnes) {
    install("en", "1 one\n2 two\n17 seventeen\n");
    const std::string whole = read_file(path("en"));
    ASSERT_TRUE(catalog_is_sound(bytesOf(whole)));
    for (std::size_t length = 0; length < whole.size(); ++length)
        ASSERT_FALSE(catalog_is_sound(bytesOf(whole.substr(0, length)))) << length;

    const std::string damagedPath = m_home + "/damaged.cat";
    for (std::size_t bit = 0; bit < whole.size() * 8; ++bit) {
        std::string damaged = whole;
        damaged[bit / 8] = static_cast<char>(damaged[bit / 8] ^ (1 << bit % 8));
        if (!catalog_is_sound(bytesOf(damaged))) continue;
        fs::remove(damagedPath); // replacing a file's content is slow
        write_file(damagedPath, damaged);
        const auto catalog = MessageCatalog::open(damagedPath);
        for (const int number : {1, 2, 17, 18}) {
            const char* const text = catalog ? catalog->find(number) : "";
            ASSERT_GE(damaged.size(), std::strlen(text == nullptr ? "" : text)) << bit;
        }
    }
    EXPECT_FALSE(MessageCatalog::open(m_home));
    EXPECT_FALSE(MessageCatalog::open("/dev/zero"));
}

TEST(MessageCatalog, TablesThatDoNotFitOrDivideByZeroAreRefused) {
    const auto withSizes = [](std::uint32_t size, std::uint32_t depth) {
        const std::uint32_t file[16] = {0x960408DE, size, depth}; // one empty text at every offset
        return catalog_is_sound(std::as_bytes(std::span(file)));
    };
    EXPECT_TRUE(withSizes(2, 1));
    EXPECT_FALSE(withSizes(3, 1));
    EXPECT_FALSE(withSizes(0, 1));
    EXPECT_FALSE(withSizes(1, 0));
    EXPECT_FALSE(withSizes(0x80000001, 0x2AAAAAAB)) << "few bytes in 32-bit arithmetic";
    EXPECT_FALSE(withSizes(0x80000000, 0x40000000)) << "and in 64-bit";
}
