#include "daemons/evmd/Request.h"
#include "tests/evmd/evmd_support.h"

#include <gtest/gtest.h>

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

TEST(Request, OnlyThePeerItselfMayPost) {
    const Peer peer{{4711}, {1000, 0}};
    struct Row {
        std::uint32_t kind;
        std::int64_t process;
        std::uint32_t user;
        const char* service;
        std::uint32_t flags;
    };
    for (const Row& row :
         {Row{1, 4711, 1000, "", 0}, Row{1, 4712, 1000, "", EvmCOMM_FLAG_REFUSED},
          Row{1, 4711, 0, "", EvmCOMM_FLAG_REFUSED}, Row{2, 4711, 1000, "", EvmCOMM_FLAG_REFUSED},
          Row{3, 4711, 1000, "s", EvmCOMM_FLAG_REFUSED},
          Row{3, 4711, 1000, "", EvmCOMM_FLAG_INVALID},
          Row{1, 4711, 1000, "s", EvmCOMM_FLAG_INVALID},
          Row{9, 4711, 1000, "", EvmCOMM_FLAG_INVALID}}) {
        std::size_t size = 0;
        const auto body = evm::encodeConnect(
            {static_cast<evm::ConnectKind>(row.kind), {row.process}, {row.user, 0}, row.service},
            size);
        EXPECT_EQ(judgeConnectBody({body.get(), size}, peer), row.flags) << row.kind << row.service;
        EXPECT_EQ(judgeConnectBody({body.get(), size - 1}, peer), EvmCOMM_FLAG_INVALID);
    }
}

} // namespace
