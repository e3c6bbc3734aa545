#include "evm/libevm/exchange.h"
#include "tools/evmshow/RecordFeed.h"

#include <algorithm>
#include <cstring>

using namespace evmshow;
using Content = std::vector<std::byte>;

namespace {

/// A written record with a text of some length.
Content record(std::size_t length) {
    EvmEvent_t event = nullptr;
    const std::string text(length, 'x');
    EvmEventCreateVa(&event, EvmITEM_NAME, "some.name", EvmITEM_VAR_STRING, "text", text.c_str(),
                     EvmITEM_NONE);
    const evm::Bytes bytes = evm::_evmEventPrepare(*event);
    const Content copy(bytes.begin(), bytes.end());
    EvmEventDestroy(event);
    return copy;
}

struct Region {
    std::uint64_t offset;
    std::uint64_t size;
    Piece::Kind kind;
    Fault fault;
    bool operator==(const Region&) const = default;
};

/// Everything that a feed tells about a file given in portions; neighbours of one kind are one.
std::vector<Region> told(const Content& file, std::size_t portion) {
    std::vector<Region> regions;
    RecordFeed feed(portion);
    const auto takeAll = [&] {
        while (const auto found = feed.next()) {
            const bool skipped = found->kind == Piece::Kind::SKIPPED;
            if (skipped && !regions.empty() && regions.back().kind == found->kind &&
                regions.back().fault == found->fault)
                regions.back().size += found->bytes.size();
            else
                regions.push_back({found->offset, found->bytes.size(), found->kind,
                                   skipped ? found->fault : Fault::DAMAGED});
        }
    };
    for (std::size_t at = 0; at < file.size();) {
        const std::span<std::byte> room = feed.room();
        const std::size_t count = std::min({room.size(), file.size() - at, portion});
        std::memcpy(room.data(), file.data() + at, count);
        feed.filled(count);
        at += count;
        takeAll();
    }
    feed.finish();
    takeAll();
    return regions;
}

std::vector<Region> toldInAnyPortions(const Content& file) {
    const std::vector<Region> whole = told(file, file.size() + 1);
    for (const std::size_t portion : {1U, 51U, 112U, 129U, 500U})
        EXPECT_EQ(told(file, portion), whole) << portion;
    return whole;
}

constexpr auto RECORD = Piece::Kind::RECORD;
constexpr auto SKIPPED = Piece::Kind::SKIPPED;

Content operator+(Content left, const Content& right) {
    left.insert(left.end(), right.begin(), right.end());
    return left;
}

} // namespace

TEST(RecordFeedTest, flippedBytesCostOneRecord) {
    const Content first = record(10), second = record(30), third = record(5);
    const std::uint64_t size = first.size();
    for (std::size_t at = sizeof(EvmCommunicationHeader_t); at < second.size(); ++at) {
        Content damaged = second;
        damaged[at] ^= std::byte{0x15};
        const std::vector<Region> expected = {
            {0, size, RECORD, Fault::DAMAGED},
            {size, second.size(), SKIPPED, Fault::DAMAGED},
            {size + second.size(), third.size(), RECORD, Fault::DAMAGED}};
        EXPECT_EQ(toldInAnyPortions(first + damaged + third), expected) << at;
    }
}

TEST(RecordFeedTest, cutRecordsCostOnlyThemselves) {
    const Content first = record(10), second = record(200), third = record(5);
    const std::uint64_t size = first.size();
    for (std::size_t kept = 1; kept < second.size(); ++kept) {
        const Content cut(second.begin(), second.begin() + static_cast<std::ptrdiff_t>(kept));
        const std::vector<Region> torn = {{0, size, RECORD, Fault::DAMAGED},
                                          {size, kept, SKIPPED, Fault::TORN}};
        EXPECT_EQ(toldInAnyPortions(first + cut), torn) << kept;
        const std::vector<Region> between = {{0, size, RECORD, Fault::DAMAGED},
                                             {size, kept, SKIPPED, Fault::DAMAGED},
                                             {size + kept, third.size(), RECORD, Fault::DAMAGED}};
        EXPECT_EQ(toldInAnyPortions(first + cut + third), between) << kept;
    }
}

/// Each of the headers claims the rest of the file, whose blocks are in order: looking through all
/// of it for each would take days.
TEST(RecordFeedTest, manyLyingHeadersTakeNoQuadraticTime) {
    constexpr std::size_t HEADERS = 200'000, BLOCK = 128;
    Content file(HEADERS * BLOCK);
    for (std::size_t at = 0; at < file.size(); at += BLOCK) {
        const std::span<std::byte> bytes = std::span(file).subspan(at);
        evm::store(bytes, 0, EvmVar_t{0, BLOCK});
        evm::store(bytes, offsetof(EvmEventHead_t, control.ident), evm::RECORD_IDENT);
        evm::store<std::uint16_t>(bytes, offsetof(EvmEventHead_t, control.blocktype), 1);
        evm::store(bytes, offsetof(EvmEventHead_t, control.size),
                   static_cast<std::uint32_t>(file.size() - at));
        evm::store<std::uint32_t>(bytes, offsetof(EvmEventHead_t, flags), 1U << 5U);
        evm::store<std::uint32_t>(bytes, offsetof(EvmEventHead_t, ext_item_id), 512);
        evm::store(bytes, 120, EvmVar_t{0, 8});
    }
    const std::vector<Region> regions = told(file, file.size());
    ASSERT_EQ(regions.size(), 1U);
    EXPECT_EQ(regions.front().size, file.size());
}
