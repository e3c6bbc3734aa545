#include "tav/comm/Container.h"
#include "tests/comm/comm_support.h"

#include <gtest/gtest.h>

#include <algorithm>

using TAV::asContainer;
using TAV::Container;
using TAV::MessageStream;
using TAV::TextMessage;

namespace {

constexpr const char* PAST_END = "IOException: MessageStream::get past buffer end";

std::string textChild(std::string_view key, std::string_view text) {
    return str(key) + str("TextMessage") + str(text);
}

} // namespace

TEST(MessageStream, WritesTheAgreedBytes) {
    Container request("REQ");
    request.SetProperty("A", "x");
    Bytes expected(176);
    const auto place = [&expected](std::ptrdiff_t at, const std::string& bytes) {
        std::copy(bytes.begin(), bytes.end(), expected.begin() + at);
    };
    place(0, std::string("\xb0\0\0\0\x50\x43\0\0\x0c\x01", 10));
    place(52, std::string("\x09\0\0\0Container", 13));
    place(136, std::string("\x24\0\0\0\x01\0\0\0\x03\0\0\0REQ", 15));
    place(151, std::string("\x01\0\0\0A\x0b\0\0\0TextMessage\x01\0\0\0x", 25));
    EXPECT_EQ(encode(request), expected);
    EXPECT_EQ(encode(*decode(expected)), expected);

    EXPECT_EQ(encode(Container()), frame(emptyContainer()));
    EXPECT_EQ(encode(TextMessage("abc")), frame(str("abc"), "TextMessage"));

    Container status("UI_STAT");
    for (const char* const entry : {"VERB_TAG=0", "QUIET_TAG=0", "LONG_TAG=0", "HOST_TAG=0",
                                    "TAV_VORN_LEGACY=true", "LOCALE=", "CLIENT_PRIMARY_GROUP=dba"})
        status.SetProperty(entry);
    EXPECT_EQ(encode(status).size(), 401U);
}

TEST(MessageStream, GrowsWithWhatIsWritten) {
    for (const std::size_t size : {32'767U, 32'768U, 40'000U, 200'000U}) {
        const Container big(std::string(size, 'x'));
        EXPECT_EQ(encode(*decode(encode(big))), encode(big)) << size;
    }
}

TEST(MessageStream, BoundsTypeTags) {
    const auto tagged = [](const std::string& tag) {
        return frame(ub4(1) + str("") + str("key") + str(tag) + emptyContainer());
    };
    EXPECT_EQ(failureOf(tagged(std::string(1023, 'x'))), "IOException: Unknown Message Type");
    EXPECT_EQ(failureOf(tagged(std::string(1024, 'x'))),
              "IOException: MessageStream::getstrbuf Buffer overrun");
    EXPECT_EQ(failureOf(tagged(std::string("Container\0x", 11))), "");
    EXPECT_EQ(failureOf(frame(emptyContainer(), std::string(72, 'x'))),
              "IOException: Unknown Message Type");
}

TEST(MessageStream, CutsStringsAtZeroBytesAndKeepsTheLastOfAKey) {
    const auto message = decode(frame(ub4(5) + str({"N\0x", 3}) + textChild("b", "1") +
                                      textChild("a", "2") + textChild({"c\0x", 3}, {"5\0x", 3}) +
                                      textChild("b", "3") + textChild("a", "4")));
    const Container& container = *asContainer(message.get());
    EXPECT_EQ(container.Size(), 3U);
    EXPECT_EQ(container.GetName() + container["a"] + container["b"] + container["c"], "N435");
}

TEST(MessageStream, ChildrenThatAreStillEncodedAreAsDecodedOnes) {
    const auto listed = [](const Container& container) {
        std::string all;
        const auto list = [&all](const auto& self, const Container& from) -> void {
            from.eachChild([&](std::string_view key, std::string_view value, const Container* in) {
                all.append(key).append("=").append(value).append(in != nullptr ? "[" : ";");
                if (in != nullptr) self(self, *in), all += ']';
            });
        };
        list(list, container);
        return all;
    };
    const std::string inner = str("b") + str("Container") + ub4(1) + str("in") + textChild("x", "");
    const std::string zero = str({"b\0x", 3}) + str({"Container\0x", 11}) + ub4(1) +
                             str({"in\0x", 4}) + textChild({"x\0", 2}, {"\0x", 2});
    for (const std::string& children : {textChild("", "1") + inner + textChild("c", "2"),
                                        textChild("c", "2") + inner + textChild("", "1"),
                                        textChild("", "1") + zero + textChild("c", "2")}) {
        const auto message = decode(frame(ub4(3) + str("N") + children));
        Container& container = *asContainer(message.get());
        EXPECT_EQ(listed(container), "=1;b=in[x=;]c=2;");
        EXPECT_EQ(listed(Container(container)), listed(container));
        container.SetProperty("b", "new");
        EXPECT_EQ(listed(container), "=1;b=new;c=2;");
    }
}

TEST(MessageStream, ManyUnorderedKeysTakeNoLongerThanOrderedOnes) {
    constexpr unsigned CHILDREN = 190'000;
    std::string descending = ub4(CHILDREN) + str("");
    std::string equal = descending;
    for (unsigned i = CHILDREN; i > 0; --i) {
        descending += textChild(std::to_string(1'000'000 + i), "");
        equal += textChild("key", i == 1 ? "last" : "");
    }
    EXPECT_EQ(asContainer(decode(frame(descending)).get())->Size(), CHILDREN);
    EXPECT_EQ(asContainer(decode(frame(equal)).get())->GetProperty("key"), "last");
}

TEST(MessageStream, RefusesLyingCountsAndLengths) {
    EXPECT_EQ(failureOf(frame(ub4(0x7fffffff) + str(""))), PAST_END);
    EXPECT_EQ(failureOf(frame(ub4(0x80000000) + str(""))), "");
    EXPECT_EQ(failureOf(frame(ub4(0) + ub4(0xffffffff))), PAST_END);
    EXPECT_EQ(failureOf(frame(ub4(2) + str("") + textChild("a", "b"))), PAST_END);
    EXPECT_EQ(failureOf(frame(emptyContainer() + "surplus")), "");
    // Each level claims as much as the frame could hold.
    std::string claims;
    for (int i = 0; i < 900; ++i) claims += ub4(0x7fffffff) + str("") + str("") + str("Container");
    EXPECT_EQ(failureOf(frame(claims + std::string(4'000'000, '\0'))),
              "IOException: Unknown Message Type");
}

TEST(MessageStream, RefusesTreesThatAreTooDeep) {
    onSmallStack([] {
        EXPECT_EQ(failureOf(frame(chain(1000))), "");
        EXPECT_EQ(failureOf(frame(chain(1001))), "IOException: Message nesting too deep");
    });
}

TEST(MessageStream, DamageNeverDoesMoreThanFail) {
    Container tree("tree");
    tree.SetProperty("LONGER", std::string(40, 'v'));
    tree.SetMessage("B", tree);
    const Bytes whole = encode(tree);
    Bytes cut;
    for (const unsigned char byte : whole) {
        EXPECT_EQ(failureOf(cut), PAST_END);
        cut.push_back(byte);
    }
    for (std::size_t bit = 0; bit < whole.size() * 8; ++bit) {
        Bytes damaged = whole;
        damaged[bit / 8] ^= static_cast<unsigned char>(1U << bit % 8);
        static_cast<void>(failureOf(damaged));
    }
}
