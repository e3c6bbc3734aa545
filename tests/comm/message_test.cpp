#include "tav/comm/Container.h"
#include "tests/comm/comm_support.h"

#include <gtest/gtest.h>

#include <sstream>

using TAV::asContainer;
using TAV::Container;
using TAV::TextMessage;

namespace {

using Keys = std::vector<std::string>;

Keys keysOf(const Container& container) {
    Keys keys{"left over"};
    container.Keys(keys);
    return keys;
}

/// A chain of containers with a text before and one behind the next level.
Container deepTree(std::size_t levels) {
    Container tree;
    for (std::size_t i = 0; i < levels; ++i) {
        auto above = std::make_unique<Container>();
        above->SetProperty("a", "1");
        if (i > 0) above->adopt("b", tree.release("root"));
        above->SetProperty("c", "2");
        tree.adopt("root", std::move(above));
    }
    return tree;
}

} // namespace

TEST(Container, KeepsUniqueKeysInByteOrder) {
    Container container("name");
    for (const char* const property : {"b", "a=b=c", "\xff", "ab=", "b=2", "=x"})
        container.SetProperty(property);
    EXPECT_EQ(keysOf(container), (Keys{"", "a", "ab", "b", "\xff"}));
    EXPECT_EQ(container[""] + container["a"] + container["ab"] + container["b"], "xb=c2");
    EXPECT_EQ(container["\xff"], "\xff");
    container.adopt("ab", std::make_unique<Container>("new"));
    EXPECT_EQ(container.GetProperty("ab"), "new");
    EXPECT_EQ(container.GetMessage("x"), TextMessage::Null());
}

TEST(Container, MayBeStoredInItselfAndAssignedFromItsOwnParts) {
    Container container("outer");
    container.SetProperty("a", "1");
    container.SetMessage("self", container);
    container.SetMessage("self", *container.GetMessage("self"));
    EXPECT_EQ(asContainer(container.GetMessage("self"))->GetProperty("a"), "1");
    container = *asContainer(container.GetMessage("self"));
    EXPECT_EQ(keysOf(container), (Keys{"a"}));

    auto owned = std::make_unique<Container>("child");
    Container& child = *owned;
    container.adopt("child", std::move(owned));
    child = container;
    EXPECT_EQ(child.GetName() + child["a"] + child["child"], "outer1child");
}

TEST(Message, DumpsTreesForPeople) {
    Container container("REQ");
    container.SetProperty("A", "x");
    container.SetMessage("B", Container("SUB"));
    std::ostringstream out;
    out << container;
    EXPECT_EQ(out.str(), "Container [ Name: REQ\n"
                         "\tA: \n"
                         "\tTextMessage[x]\n"
                         "\tB: \n"
                         "\tContainer [ Name: SUB\n"
                         "\t]\n"
                         "]");
}

TEST(Message, DeepTreesNeedNoStack) {
    onSmallStack([] {
        const Container tree = deepTree(200'000);
        Container copy(tree);
        EXPECT_GT(encode(copy).size(), 200'000U * 65);
        std::string text;
        copy.serialize(text);
        unsigned long position = 0;
        EXPECT_FALSE(copy.deSerialize(text, position));
        std::vector<std::string> elements;
        copy.serialize(elements);
        unsigned int index = 0;
        EXPECT_FALSE(copy.deSerialize(elements, index));
        // Indents make a dump grow with the square of the depth.
        std::ostringstream out;
        out << deepTree(2000);
        EXPECT_GT(out.str().size(), 2000U * 2000);
    });
}
