#pragma once

#include "tav/comm/EncodedBody.h"
#include "tav/comm/Message.h"
#include "tav/comm/TextMessage.h"

#include <functional>
#include <memory>
#include <string>
#include <string_view>
#include <typeinfo>
#include <vector>

namespace TAV {

/// A named node whose children are messages under unique keys, kept in ascending byte order.
///
/// A container owns its children; storing clones (SetMessage) or makes (SetProperty) them. Pointers
/// handed out stay valid until that child is replaced or its container changed. Children are held
/// in one sorted array: adding keys in ascending order costs no more than appending, adding them in
/// any other order moves what follows. Look-ups never insert. What was read from a frame stays
/// encoded until its children are first asked for; eachChild goes through it without that.
class Container final : public Message {
public:
    Container() = default;
    explicit Container(std::string name);
    Container(const Container& other);
    Container& operator=(const Container& other);
    ~Container() override;

    operator std::string() const override { return m_name; }
    [[nodiscard]] Container* clone() const override;
    void print(std::ostream& out, int indent) const override;
    [[nodiscard]] std::string mtype() const override;
    void write(MessageStream& stream) const override;
    /// Depth is limited (MessageStream::MAX_DEPTH); a later child of the same key replaces the
    /// earlier one, whatever the order in which keys arrive.
    void read(MessageStream& stream) override;
    void serialize(MessageStream& stream) const override;
    void serialize(std::vector<std::string>& elements) const override;
    [[nodiscard]] bool deSerialize(std::vector<std::string>& elements,
                                   unsigned int& index) override;
    void serialize(std::string& text) const override;
    [[nodiscard]] bool deSerialize(const std::string& text, unsigned long& position) override;
    void visit(IMessageVisitor& visitor) override;

    /// As GetProperty.
    virtual std::string operator[](const std::string& key) const;
    virtual void Clear();
    [[nodiscard]] virtual bool IsEmpty() const;
    [[nodiscard]] virtual unsigned int Size() const;
    /// Replaces the contents of `out` by all keys in ascending order.
    virtual void Keys(std::vector<std::string>& out) const;

    [[nodiscard]] const std::string& GetName() const { return m_name; }
    void SetName(const std::string& name) { m_name = name; }
    /// The child, or TextMessage::Null() when there is none; never a null pointer.
    [[nodiscard]] const Message* GetMessage(const std::string& key) const;
    /// Stores a clone under the key, replacing what was there; the caller keeps its message.
    void SetMessage(const std::string& key, const Message& message);
    /// Splits at the first "="; without one the argument is both key and value.
    void SetProperty(const std::string& keyValue);
    void SetProperty(const std::string& key, const std::string& value);
    /// The child's value, the empty text when there is none.
    [[nodiscard]] std::string GetProperty(const std::string& key) const;

    /// One child: read in place by those who walk whole trees.
    struct Child {
        std::string key;
        std::unique_ptr<Message> message;
    };
    [[nodiscard]] const std::vector<Child>& children() const {
        if (m_encoded.frame != nullptr) decode();
        return m_children;
    }
    /// Stores a message that the caller hands over.
    void adopt(std::string key, std::unique_ptr<Message> message);
    /// Takes a child out; null when there is none under the key.
    std::unique_ptr<Message> release(std::string_view key);
    /// Takes all children out, in ascending order of keys.
    std::vector<Child> releaseAll();
    /// Use of one child: its value is a text's text or a container's name; `inner` is null for a
    /// text. All three are valid during the call.
    using ChildUse =
        std::function<void(std::string_view key, std::string_view value, const Container* inner)>;
    /// Hands every child over, in ascending order of keys. What is still encoded is not decoded for
    /// it: the way to go through a large reply once. The container is not changed meanwhile.
    void eachChild(const ChildUse& use) const;

private:
    friend class ContainerFiller;
    template <class Source>
    friend class TreeBuilder;

    explicit Container(EncodedBody body);
    bool postpone(MessageStream& stream);
    void decode() const;
    void eachEncodedChild(const ChildUse& use) const;
    [[nodiscard]] std::vector<Child>& ownChildren() {
        static_cast<void>(children());
        return m_children;
    }
    static void takeDown(std::vector<Child>& children) noexcept;
    /// Takes over name and children of a container that is not used afterwards.
    void takeOver(Container& other);

    mutable std::vector<Child> m_children;
    mutable EncodedBody m_encoded; ///< of the children, while there are none
    std::string m_name;
    Container* m_nextToDestroy = nullptr; ///< links containers while a tree is taken down
};

/// The message as a container, null when it is none.
[[nodiscard]] inline const Container* asContainer(const Message* message) {
    if (message == nullptr) return nullptr;
    // Types are told apart by their names where their addresses differ: texts, the most frequent,
    // are told by the address.
    const std::type_info& type = typeid(*message);
    if (&type == &typeid(TextMessage) || type != typeid(Container)) return nullptr;
    return static_cast<const Container*>(message);
}
[[nodiscard]] inline Container* asContainer(Message* message) {
    return const_cast<Container*>(asContainer(static_cast<const Message*>(message)));
}

} // namespace TAV
