#include "tav/cluster/clu.h"
#include "tests/cluster/cluster_support.h"

namespace {

int allocations_left; ///< what a failing memory still gives
int blocks;           ///< given and not released

void* scarce_malloc(lslmc* memory, unsigned long size) {
    if (allocations_left == 0) return nullptr;
    --allocations_left;
    ++blocks;
    return clsclu_malloc(memory, size);
}
void counting_mfree(lslmc* memory, void* block) {
    --blocks;
    clsclu_mfree(memory, block);
}

} // namespace

TEST(Clu, EveryRequest) {
    const TestCluster cluster("cluster_name = west\n");
    cluster.run(4, [] {
        std::array<char, 64> text{};
        std::array<int, 3> numbers{};
        std::array<char, 40> states;
        states.fill('x');
        const auto size = static_cast<int>(text.size());
        const auto name_by_id = [&](int id, int room) {
            return clu_info(CLU_INFO_NODENAME_BY_ID, id, text.data(), room);
        };
        clu_gen_info* info = nullptr;
        for (const int command : {2, 3, 6, 8, 10, 13, 16, 99})
            EXPECT_EQ(clu_info(command, nullptr, nullptr, 0), 1) << command;
        EXPECT_EQ(clu_is_ready() + clu_is_member(), 0);
        EXPECT_EQ(clu_get_info(&info), 1);
        EXPECT_EQ(clu_free_info(&info), 1);

        EXPECT_EQ(clu_ctxinit(nullptr, nullptr), 0);
        clscluctx* const context = clugetctx();
        EXPECT_EQ(clu_ctxinit(nullptr, nullptr), 0);
        EXPECT_EQ(clugetctx(), context);
        EXPECT_EQ(clu_is_ready(), 1);
        EXPECT_EQ(clu_is_member(), 0);
        EXPECT_EQ(clu_info(CLU_INFO_MAX_MEMBERID, numbers.data()), 0);
        EXPECT_EQ(numbers, (std::array{0, 31, 32}));
        EXPECT_EQ(clu_info(CLU_INFO_CLU_NAME, text.data(), 5), 0);
        EXPECT_STREQ(text.data(), "west");
        EXPECT_EQ(clu_info(CLU_INFO_CLU_NAME, text.data(), 4), 1);
        EXPECT_EQ(clu_info(CLU_INFO_INTERCONNECT, "somebody", text.data(), 5), 0);
        EXPECT_STREQ(text.data(), "some");
        EXPECT_EQ(name_by_id(2, size), 0);
        EXPECT_STREQ(text.data(), "beta");
        EXPECT_EQ(name_by_id(2, 4), CLSS_TOO_SHORT);
        EXPECT_EQ(name_by_id(3, size) + name_by_id(-1, size), 2 * CLSS_UNKNOWN);
        EXPECT_EQ(clu_info(99, text.data()), 1);

        clss_member* member = nullptr;
        ASSERT_EQ(clss_member_hold(service(), &member, nullptr), CLSS_OK);
        EXPECT_EQ(clu_is_member(), 1);
        EXPECT_EQ(clu_info(CLU_INFO_MEMBSTATE, 4, states.data()), 0);
        EXPECT_EQ(std::string(states.data(), 6), "xxxxxx"); // number 4 is beyond the size
        EXPECT_EQ(clu_info(CLU_INFO_MEMBSTATE, 40, states.data()), 0);
        EXPECT_EQ(std::string(states.data(), 6), "xxxx\1x");

        ASSERT_EQ(clu_get_info(&info), 0);
        EXPECT_EQ(info->clu_num_of_members, 32);
        EXPECT_STREQ(info->clu_name, "west");
        EXPECT_EQ(info->memblist[3].hostname, nullptr);
        EXPECT_EQ(clu_free_info(&info), 0);
        EXPECT_EQ(info, nullptr);
        clscluctx stranger{};
        EXPECT_EQ(clsclu_get_info(&stranger, &info), 1);
        EXPECT_EQ(clsclu_term(&stranger), 1);
    });
    EXPECT_EQ(cluster.log(), std::vector<std::string>{"CLSCLU: clsclu_clu_name: buf2short"});
}

TEST(Clu, LongClusterNamesAreAskedForAgain) {
    for (const std::size_t length : {99U, 100U, 255U}) {
        const std::string name(length, 'c');
        const TestCluster cluster("cluster_name = " + name + "\n");
        cluster.run(1, [&] {
            ASSERT_EQ(clu_ctxinit(nullptr, nullptr), 0);
            EXPECT_EQ(clugetctx()->clname_clscluctx, name);
            EXPECT_EQ(clugetctx()->cgname_clscluctx, name + "_NG");
        });
    }
}

TEST(Clu, WhateverMemoryFailsNothingIsLost) {
    const TestCluster cluster;
    cluster.run(1, [] {
        clscluctx* context = nullptr;
        const auto init = [&](int allocations) {
            allocations_left = allocations;
            return clsclu_init(&context, nullptr, nullptr, scarce_malloc, counting_mfree);
        };
        int needed = 0;
        for (; init(needed) != 0; ++needed) EXPECT_EQ(blocks, 0) << needed;
        EXPECT_EQ(needed, blocks);
        const int held = blocks;
        clu_gen_info* info = nullptr;
        for (int i = 0; allocations_left = i, clsclu_get_info(context, &info) != 0; ++i)
            EXPECT_EQ(blocks, held) << i;
        EXPECT_EQ(clsclu_term(context), 0); // with the last record
        EXPECT_EQ(blocks, 0);
    });
    const auto log = cluster.log();
    ASSERT_GE(log.size(), 4u);
    EXPECT_EQ(log[1], "CLSCLU: clsclu__malloc: malloc failed, sz 128");
    EXPECT_EQ(log[2], "CLSCLU: clsclu_init: malloc failed, rc 1");
    EXPECT_EQ(log[3], "CLSCLU: clsclu_init: rc 1");
}
