#include "tav/comm/Container.h"

#include "tav/comm/MessageTree.h"
#include "tav/comm/TextMessage.h"

#include <algorithm>
#include <utility>

namespace TAV {

namespace {

/// The place of a key, or the place where it belongs.
template <class Children>
auto place(Children& children, std::string_view key) {
    return std::lower_bound(children.begin(), children.end(), key,
                            [](const Container::Child& child, std::string_view wanted) {
                                return child.key.compare(wanted) < 0;
                            });
}

template <class Children>
auto find(Children& children, std::string_view key) {
    const auto found = place(children, key);
    return found != children.end() && found->key == key ? found : children.end();
}

} // namespace

Container::Container(std::string name) : m_name(std::move(name)) {}

Container::Container(const Container& other) : Message(other), m_name(other.m_name) {
    std::vector<std::pair<const Container*, Container*>> open{{&other, this}};
    while (!open.empty()) {
        const auto [from, to] = open.back();
        open.pop_back();
        to->m_children.reserve(from->children().size());
        for (const Child& child : from->children()) {
            if (const Container* const inner = asContainer(child.message.get())) {
                auto copy = std::make_unique<Container>(inner->m_name);
                open.emplace_back(inner, copy.get());
                to->m_children.push_back({child.key, std::move(copy)});
            } else {
                to->m_children.push_back(
                    {child.key, std::unique_ptr<Message>(child.message->clone())});
            }
        }
    }
}

Container& Container::operator=(const Container& other) {
    if (this == &other) return *this;
    // The source may be one of the children that are given up, or hold this container.
    Container copy(other);
    m_name.swap(copy.m_name);
    m_children.swap(copy.m_children);
    m_encoded = {};
    return *this;
}

Container::~Container() {
    takeDown(m_children);
}

/// Destroys children without recursion and without an allocation: containers that still hold some
/// are taken out of their owners into a linked list first.
void Container::takeDown(std::vector<Child>& children) noexcept {
    Container* pending = nullptr;
    const auto giveUp = [&pending](std::vector<Child>& owned) {
        for (Child& child : owned) {
            Container* const inner = asContainer(child.message.get());
            if (inner == nullptr || inner->m_children.empty()) continue;
            static_cast<void>(child.message.release());
            inner->m_nextToDestroy = pending;
            pending = inner;
        }
        owned.clear();
    };
    giveUp(children);
    while (pending != nullptr) {
        const std::unique_ptr<Container> container(pending);
        pending = container->m_nextToDestroy;
        giveUp(container->m_children);
    }
}

Container* Container::clone() const {
    return std::make_unique<Container>(*this).release();
}

std::string Container::mtype() const {
    return CONTAINER_TAG;
}

void Container::visit(IMessageVisitor& visitor) {
    visitor.visitContainer(*this);
}

std::string Container::operator[](const std::string& key) const {
    return GetProperty(key);
}

void Container::Clear() {
    m_encoded = {};
    takeDown(m_children);
}

bool Container::IsEmpty() const {
    return children().empty();
}

unsigned int Container::Size() const {
    return static_cast<unsigned int>(children().size());
}

void Container::Keys(std::vector<std::string>& out) const {
    out.clear();
    out.reserve(children().size());
    for (const Child& child : children()) out.push_back(child.key);
}

const Message* Container::GetMessage(const std::string& key) const {
    const auto found = find(children(), key);
    return found != m_children.end() ? found->message.get() : TextMessage::Null();
}

void Container::SetMessage(const std::string& key, const Message& message) {
    adopt(key, std::unique_ptr<Message>(message.clone()));
}

void Container::SetProperty(const std::string& keyValue) {
    const std::size_t equals = keyValue.find('=');
    if (equals == std::string::npos) {
        SetProperty(keyValue, keyValue);
    } else {
        SetProperty(keyValue.substr(0, equals), keyValue.substr(equals + 1));
    }
}

void Container::SetProperty(const std::string& key, const std::string& value) {
    adopt(key, std::make_unique<TextMessage>(value));
}

std::string Container::GetProperty(const std::string& key) const {
    return *GetMessage(key);
}

void Container::adopt(std::string key, std::unique_ptr<Message> message) {
    std::vector<Child>& own = ownChildren();
    if (own.empty() || own.back().key < key) {
        own.push_back({std::move(key), std::move(message)});
        return;
    }
    const auto found = place(own, key);
    if (found->key == key) {
        found->message = std::move(message);
    } else {
        own.insert(found, Child{std::move(key), std::move(message)});
    }
}

std::unique_ptr<Message> Container::release(std::string_view key) {
    const auto found = find(ownChildren(), key);
    if (found == m_children.end()) return nullptr;
    std::unique_ptr<Message> message = std::move(found->message);
    m_children.erase(found);
    return message;
}

std::vector<Container::Child> Container::releaseAll() {
    return std::exchange(ownChildren(), {});
}

void Container::takeOver(Container& other) {
    m_name = std::move(other.m_name);
    if (children().empty()) {
        m_children.swap(other.m_children);
        return;
    }
    for (Child& child : other.releaseAll()) adopt(std::move(child.key), std::move(child.message));
}

void ContainerFiller::sortKeepingLast() {
    auto& children = m_container->m_children;
    std::stable_sort(
        children.begin(), children.end(),
        [](const Container::Child& a, const Container::Child& b) { return a.key < b.key; });
    auto end = children.begin();
    for (auto child = children.begin(); child != children.end(); ++child) {
        const auto next = child + 1;
        if (next != children.end() && next->key == child->key) continue;
        if (end != child) *end = std::move(*child);
        ++end;
    }
    children.erase(end, children.end());
}

} // namespace TAV
