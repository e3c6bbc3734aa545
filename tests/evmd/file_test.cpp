#include "tests/evmd/evmd_support.h"

#include <sys/resource.h>

#include <numeric>

using namespace evmd;
namespace fs = std::filesystem;

namespace {

constexpr std::uint64_t UNLIMITED = 1ULL << 40;
using Ids = std::vector<std::uint32_t>;

class EventFileTest : public testing::Test {
protected:
    /// Stores these records in one call; which of them got in, as "+" and "-".
    static std::string append(EventFile& file, const std::vector<std::string>& records) {
        std::vector<FileEntry> entries;
        for (const std::string& record : records)
            entries.push_back({std::as_bytes(std::span(record))});
        file.append(entries);
        std::string stored;
        for (const FileEntry& entry : entries) stored += entry.stored ? '+' : '-';
        return stored;
    }
    /// Takes over a file with these bytes and stores one more event, 99.
    Ids takeOver(const std::string& bytes) const {
        write_file(path, bytes);
        EventFile file(path, UNLIMITED);
        EXPECT_EQ(append(file, {makeRecord(99)}), "+");
        return idsIn(path);
    }
    [[nodiscard]] bool exists(const std::string& ending) const { return fs::exists(path + ending); }

    const std::string path = freshFolder() + "/events";
    const std::string first = makeRecord(1, 100), second = makeRecord(2), third = makeRecord(3, 40);
};

TEST_F(EventFileTest, CutsATornTailAtEveryByte) {
    const std::string whole = first + second;
    for (std::size_t length = 1; length < third.size(); ++length) {
        ASSERT_EQ(takeOver(whole + third.substr(0, length)), (Ids{1, 2, 99})) << length;
        // The disk got the file's new length, but not all of the bytes.
        const std::string holes = third.substr(0, length) + std::string(third.size(), '\0');
        const bool isWhole = length > third.find_last_not_of('\0');
        ASSERT_EQ(takeOver(whole + holes), isWhole ? (Ids{1, 2, 3, 99}) : (Ids{1, 2, 99}))
            << length;
    }
    EXPECT_EQ(takeOver(whole + third), (Ids{1, 2, 3, 99}));
    EXPECT_EQ(takeOver(whole + std::string(4096, '\0')), (Ids{1, 2, 99}));
    EXPECT_EQ(takeOver(first.substr(0, first.size() - 1)), Ids{99});
    EXPECT_EQ(takeOver(""), Ids{99});
    EXPECT_FALSE(exists(".damaged.1"));
    EXPECT_NE(diagnostic_log().find("ended inside a record; it was cut to"), std::string::npos);
}

TEST_F(EventFileTest, PutsADamagedFileAsideWithAllThatIsInIt) {
    std::vector<std::string> damaged{"no records at all\n", "x", std::string(200, 'x') + first,
                                     first + "some line\n"};
    for (std::size_t at = 0; at < second.size(); at += 7) {
        damaged.push_back(first + second + third);
        damaged.back()[first.size() + at] ^= '\x10';
        if (at < 48) damaged.pop_back(); // the communication header is not part of the checksum
    }
    int number = 0;
    for (const std::string& bytes : damaged) {
        ASSERT_EQ(takeOver(bytes), Ids{99});
        ASSERT_EQ(read_file(path + ".damaged." + std::to_string(++number)), bytes);
    }
    EXPECT_NE(diagnostic_log().find("is damaged after " + std::to_string(first.size()) +
                                    " bytes (1 records); it is now " + path + ".damaged."),
              std::string::npos);
}

TEST_F(EventFileTest, RotatesBySizeAndKeepsTheLast) {
    const std::uint64_t limit = 3 * makeRecord(0).size();
    EventFile file(path, limit);
    std::vector<std::string> records;
    for (std::uint32_t id = 0; id < 40; ++id) records.push_back(makeRecord(id));
    EXPECT_EQ(append(file, records), std::string(40, '+'));
    for (std::uint32_t id = 40; id < 50; ++id) EXPECT_EQ(append(file, {makeRecord(id)}), "+");
    EXPECT_EQ(append(file, {makeRecord(50, 10'000)}), "+") << "larger than a file may be";
    Ids kept;
    for (unsigned number = EventFile::KEPT; number > 0; --number) {
        const std::string older = path + "." + std::to_string(number);
        EXPECT_LE(fs::file_size(older), limit);
        for (const std::uint32_t id : idsIn(older)) kept.push_back(id);
    }
    EXPECT_EQ(idsIn(path), Ids{50});
    Ids expected(50 - 27);
    std::iota(expected.begin(), expected.end(), 27u);
    EXPECT_EQ(kept, expected);
    EXPECT_FALSE(exists(".9"));
    EXPECT_FALSE(exists(".new"));
}

TEST_F(EventFileTest, LeavesNothingHalfOnAFullDisk) {
    const std::string large = makeRecord(7, 5'000'000);
    const auto body = [&] {
        signal(SIGXFSZ, SIG_IGN);
        EventFile file(path, UNLIMITED);
        rlimit room{};
        getrlimit(RLIMIT_FSIZE, &room);
        const rlimit little{2'000'000, room.rlim_max};
        setrlimit(RLIMIT_FSIZE, &little);
        if (append(file, {first, large, second}) != "+-+") return 1;
        if (append(file, {large}) != "-" || fs::file_size(path) != first.size() + second.size())
            return 2;
        setrlimit(RLIMIT_FSIZE, &room);
        return append(file, {large, third}) == "++" ? 0 : 3;
    };
    EXPECT_EQ(run_in_child(body), 0);
    EXPECT_EQ(idsIn(path), (Ids{1, 2, 7, 3}));
    EXPECT_NE(diagnostic_log().find("events cannot be stored in " + path + ": File too large"),
              std::string::npos);
    EXPECT_NE(diagnostic_log().find("are stored in " + path + " again"), std::string::npos);
}

TEST_F(EventFileTest, HasOneWriterAndFollowsItsName) {
    EventFile file(path, UNLIMITED);
    EXPECT_THROW(EventFile(path, UNLIMITED), FileError);
    EXPECT_EQ(append(file, {first}), "+");
    fs::rename(path, path + ".moved");
    EXPECT_EQ(append(file, {second}), "+");
    fs::remove(path);
    fs::create_directory(path);
    EXPECT_EQ(append(file, {third}), "-");
    fs::remove(path);
    EXPECT_EQ(append(file, {third}), "+");
    EXPECT_EQ(idsIn(path + ".moved"), Ids{1});
    EXPECT_EQ(idsIn(path), Ids{3});
    EXPECT_THROW(EventFile(freshFolder() + "/none/events", UNLIMITED), FileError);
}

} // namespace
