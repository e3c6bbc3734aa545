#include "daemons/evmd/Request.h"
#include "tests/evmd/evmd_support.h"

using namespace evmd;

namespace {

/// What a flipped bit of a sound connect request's header makes of it.
std::uint32_t flagsOfFlip(std::size_t at) {
    if (at == 50 || at == 51) return EvmCOMM_FLAG_INVALID_VALUE;
    const bool counts = (at >= 48 && at < 56) || (at >= 60 && at < 64) || (at >= 72 && at < 80);
    if (counts) return EvmCOMM_FLAG_INVALID;
    return 0;
}

TEST(Request, EveryFlippedBitOfAHeaderIsJudged) {
    const auto connect = evm::encodeHeader(EvmCOMM_CONNECT_REQ, 0, 0, evm::CONNECT_FIXED_SIZE, 0);
    const auto post = evm::encodeHeader(EvmCOMM_POST_REQ, 0, 5, 128, 77);
    EvmCommHead_t head{};
    ASSERT_EQ(judgeConnectHeader(connect, head), 0u);
    ASSERT_EQ(judgeRequest(post, 77, head), Request::POST);
    ASSERT_EQ(judgeRequest(post, 78, head), Request::FAULT);
    for (std::size_t bit = 0; bit < post.size() * 8; ++bit) {
        const std::size_t at = bit / 8;
        if (at == 72) continue; // another body size that can be
        auto first = connect, second = post;
        first[at] ^= std::byte(1U << bit % 8);
        second[at] ^= std::byte(1U << bit % 8);
        EXPECT_EQ(judgeConnectHeader(first, head), flagsOfFlip(at)) << bit;
        const bool isSound =
            flagsOfFlip(at) == 0 || (at >= 73 && at < 75) || bit == 75 * 8 + 0 || bit == 75 * 8 + 1;
        EXPECT_EQ(judgeRequest(second, 77, head) == Request::POST, isSound) << bit;
    }
}

} // namespace
