#include "tav/comm/Container.h"
#include "tests/comm/comm_support.h"

#include <gtest/gtest.h>

using TAV::Container;
using TAV::TextMessage;

namespace {

using Elements = std::vector<std::string>;

std::string compact(const TAV::Message& message) {
    std::string text;
    message.serialize(text);
    return text;
}

Elements listOf(const TAV::Message& message) {
    Elements elements;
    message.serialize(elements);
    return elements;
}

Container example() {
    Container request("REQ");
    request.SetProperty("A", "x");
    return request;
}

/// Whether a form is taken; nothing may change when it is not.
template <class Position, class Form>
bool reads(Form form) {
    Container container("untouched");
    Position position = 0;
    const bool read = container.deSerialize(form, position);
    EXPECT_EQ(read, position > 0 && container.GetName() != "untouched");
    return read;
}
constexpr auto* readsCompact = reads<unsigned long, std::string>;
constexpr auto* readsList = reads<unsigned int, Elements>;

} // namespace

TEST(CompactForm, WritesAndReadsTheAgreedText) {
    EXPECT_EQ(compact(example()), "c1|3!REQk1|At1|x");
    EXPECT_EQ(compact(TextMessage("a|b")), "t3|a|b");

    Container tree = example();
    tree.SetMessage("!|", tree);
    tree.SetProperty(std::string("z\0", 2), std::string("\0!", 2));
    const std::string text = "before" + compact(tree) + "after";
    Container read;
    unsigned long position = 6;
    ASSERT_TRUE(read.deSerialize(text, position));
    EXPECT_EQ(compact(read), compact(tree));
    EXPECT_EQ(text.substr(position), "after");
    position = 0;
    ASSERT_TRUE(read.deSerialize("c3|0!k1|bt1|1k1|at1|2k1|bc0|3!new", position));
    EXPECT_EQ(read["a"] + read["b"], "2new");
}

TEST(CompactForm, RefusesDamage) {
    const std::string whole = compact(example());
    for (std::size_t size = 0; size < whole.size(); ++size)
        EXPECT_FALSE(readsCompact(whole.substr(0, size)));
    for (const char* const text :
         {"t1|x", "c-1|0!", "c 1|0!", "c+1|0!", "c|0!", "c0|!", "c0|0|", "c0!0!", "c0|9999999999!",
          "c0|4294967295!", "c4294967296|0!", "c4294967295|0!", "c1|0!k1|A", "c1|0!x1|At0|"})
        EXPECT_FALSE(readsCompact(text)) << text;
}

TEST(ListForm, WritesAndReadsTheAgreedElements) {
    EXPECT_EQ(listOf(example()), (Elements{"1", "REQ", "TextMessage", "A", "x"}));
    Container tree = example();
    tree.SetMessage("B", tree);
    Elements elements = listOf(tree);
    Container read;
    unsigned int index = 0;
    ASSERT_TRUE(read.deSerialize(elements, index));
    EXPECT_EQ(listOf(read), elements);
    EXPECT_EQ(index, elements.size());
    EXPECT_TRUE(readsList({"1", "n", "any other tag", "key", "0", "inner"}));
}

TEST(ListForm, RefusesDamage) {
    Elements cut;
    for (const std::string& element : listOf(example())) {
        EXPECT_FALSE(readsList(cut));
        cut.push_back(element);
    }
    for (const char* const count : {"2", "-1", "", "x", "1x", " 1", "4294967295", "4294967297"})
        EXPECT_FALSE(readsList({count, "REQ", "TextMessage", "A", "x"})) << count;
}

TEST(TextualForms, RefuseTreesThatAreTooDeep) {
    std::string text;
    Elements elements;
    for (int level = 1; level < 1000; ++level) {
        text += "c1|0!k0|";
        elements.insert(elements.end(), {"1", "", "Container", ""});
    }
    EXPECT_TRUE(readsCompact(text + "c0|0!"));
    EXPECT_FALSE(readsCompact(text + "c1|0!k0|c0|0!"));
    elements.insert(elements.end(), {"0", ""});
    EXPECT_TRUE(readsList(elements));
    elements.insert(elements.begin(), {"1", "", "Container", ""});
    EXPECT_FALSE(readsList(elements));
}
