#include "platform/include/threads.h"
#include "platform/include/tint_text.h"

#include <atomic>
#include <thread>

TEST(Threads, KeyedValuesBelongToTheirThreadAndEndWithIt) {
    static std::atomic<int> destroyed{0};
    sltskey key = nullptr;
    cls_thrctx* const context = cls_thrGetctx();
    ASSERT_EQ(0, sltskyc(context, &key, [](void*) { ++destroyed; }));
    int mine = 0;
    sltskys(context, key, &mine);
    std::thread([&] {
        EXPECT_NE(context, cls_thrGetctx());
        void* value = &mine;
        sltskyg(cls_thrGetctx(), key, &value);
        EXPECT_EQ(nullptr, value);
        sltskys(cls_thrGetctx(), key, &value);
    }).join();
    EXPECT_EQ(1, destroyed);
    void* value = nullptr;
    sltskyg(context, key, &value);
    EXPECT_EQ(&mine, value);
    EXPECT_EQ(0, sltskyd(context, &key));
    EXPECT_EQ(nullptr, key);
}

TEST(TintText, RoundTripsAndRefusesOtherTexts) {
    char text[TINT_TEXT_SIZE];
    std::uint64_t back = 0;
    ASSERT_EQ(0, clsvorn_utl_stringify_tint(UINT64_MAX, text, sizeof text));
    EXPECT_EQ(0, clsvorn_utl_destringify_tint(text, &back));
    EXPECT_EQ(UINT64_MAX, back);
    EXPECT_STREQ("{ffffffffffffffff}", text);
    EXPECT_NE(0, clsvorn_utl_stringify_tint(1, text, 18));
    EXPECT_STREQ("", text);
    std::uint64_t kept = 5;
    for (const char* const wrong : {"", "{00000000000000001}", "{000000000000000g}",
                                    "{-000000000000001}", "{0x00000000000001}"})
        EXPECT_NE(0, clsvorn_utl_destringify_tint(wrong, &kept)) << wrong;
    EXPECT_EQ(5U, kept);
}
