#pragma once

#include "tav/comm/Container.h"
#include "tav/comm/MessageStream.h"
#include "tav/comm/TextMessage.h"

#include <algorithm>
#include <cstdint>
#include <iosfwd>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

/// How the forms of a message walk and build trees: with a stack on the heap, so that the depth of
/// a tree never costs the thread's stack.
namespace TAV {

inline constexpr const char* TEXT_TAG = "TextMessage";
inline constexpr const char* CONTAINER_TAG = "Container";

/// The least child of a body: an empty key, the tag "TextMessage" and an empty text.
inline constexpr std::size_t LEAST_STREAM_CHILD = 4 + (4 + 11) + 4;

/// Writes `indent` tabs.
void printIndent(std::ostream& out, int indent);

/// Hands a tree to a visitor in order: open(container, depth) and close(depth) around a container's
/// children; for each of them child(entry, inner) and then, unless it is a container (`inner`, else
/// null), leaf(message, depth). The root's depth is 0.
template <class Visitor>
void walkTree(const Container& root, Visitor&& visitor) {
    struct Level {
        const Container* container;
        std::size_t next;
    };
    std::vector<Level> open;
    visitor.open(root, open.size());
    open.push_back({&root, 0});
    while (!open.empty()) {
        Level& level = open.back();
        if (level.next == level.container->children().size()) {
            open.pop_back();
            visitor.close(open.size());
            continue;
        }
        const Container::Child& entry = level.container->children()[level.next++];
        const Container* const inner = asContainer(entry.message.get());
        visitor.child(entry, inner);
        if (inner == nullptr) {
            visitor.leaf(*entry.message, open.size());
        } else {
            visitor.open(*inner, open.size());
            open.push_back({inner, 0});
        }
    }
}

/// Fills one container with children in the order in which they arrive. Until finish() the
/// container's array need not be in order, and it must not be looked into.
class ContainerFiller {
public:
    ContainerFiller(Container& container, std::string_view name) : m_container(&container) {
        container.m_name = name;
    }

    void reserve(std::size_t children) { m_container->m_children.reserve(children); }
    void append(std::string_view key, std::unique_ptr<Message> message) {
        auto& children = m_container->m_children;
        m_ascending = m_ascending && (children.empty() || children.back().key.compare(key) < 0);
        children.push_back({std::string(key), std::move(message)});
    }
    /// Puts the children in order; of those with the same key the last one stays.
    void finish() {
        if (!m_ascending) sortKeepingLast();
    }

private:
    void sortKeepingLast();

    Container* m_container;
    bool m_ascending = true;
};

/// Builds the tree that a source describes. The source gives
///   bool open(std::string_view& name, std::uint32_t& children)   a container's beginning
///   std::unique_ptr<Message> child(std::string_view& key)   the next child, empty; null: none
///   bool leaf(Message&)                       the contents of one that is no container
///   contents bool allows(std::size_t level)            whether a message may stand so deep
///   std::size_t mostChildren()                how many can still follow at most
/// and the tree is abandoned when one of them answers false or throws.
template <class Source>
class TreeBuilder {
public:
    explicit TreeBuilder(Source& source) : m_source(source) { m_open.reserve(USUAL_DEPTH); }

    /// The tree is built aside, so that `root` is unchanged when it is abandoned.
    bool build(Container& root) {
        Container fresh;
        if (!open(fresh)) return false;
        while (!m_open.empty()) {
            if (m_open.back().left == 0) {
                m_open.back().filler.finish();
                m_open.pop_back();
            } else if (!readChild()) {
                return false;
            }
        }
        root.takeOver(fresh);
        return true;
    }

private:
    /// Containers in each other in a reply: the root, a resource, its values by node.
    static constexpr std::size_t USUAL_DEPTH = 3;

    struct Level {
        ContainerFiller filler;
        std::uint32_t left;
    };

    bool open(Container& container) {
        std::string_view name;
        std::uint32_t children = 0;
        if (!m_source.open(name, children)) return false;
        ContainerFiller filler(container, name);
        // What all open containers promise together cannot be more than what can still follow, so
        // that a lying number reserves no more than an honest source would fill.
        const std::size_t most = m_source.mostChildren();
        if (most > m_promised) filler.reserve(std::min<std::size_t>(children, most - m_promised));
        m_promised += children;
        m_open.push_back({filler, children});
        return true;
    }

    bool readChild() {
        --m_open.back().left;
        --m_promised;
        if (!m_source.allows(m_open.size() + 1)) return false;
        std::string_view key;
        std::unique_ptr<Message> message = m_source.child(key);
        if (message == nullptr) return false;
        Message& child = *message;
        m_open.back().filler.append(key, std::move(message));
        Container* const inner = asContainer(&child);
        return inner != nullptr ? open(*inner) : m_source.leaf(child);
    }

    Source& m_source;
    std::vector<Level> m_open;
    std::uint64_t m_promised = 0; ///< children that the open containers still expect
};

} // namespace TAV
