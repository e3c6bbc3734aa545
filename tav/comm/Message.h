#pragma once

#include <iosfwd>
#include <string>
#include <vector>

namespace TAV {

class Container;
class MessageStream;
class TextMessage;

/// Double dispatch over the kinds of messages. A visitor that wants a whole tree walks it itself.
class IMessageVisitor {
public:
    virtual void visitTextMessage(TextMessage& message) = 0;
    virtual void visitContainer(Container& container) = 0;

protected:
    ~IMessageVisitor() = default;
};

/// What requests and replies are made of: a tree of containers with texts as its leaves.
///
/// Texts (names, keys, values) are byte strings of any content, compared byte by byte. A tree is
/// used by one thread at a time. No operation here recurses over a tree: depth costs heap, never
/// stack.
class Message {
public:
    /// The value: a text's text, a container's name.
    virtual operator std::string() const = 0; // NOLINT(google-explicit-constructor)
    virtual ~Message() = default;
    /// A deep copy of the same kind; the caller owns it.
    [[nodiscard]] virtual Message* clone() const = 0;
    /// A dump for people, `indent` tabs deep, without a line end after it.
    virtual void print(std::ostream& out, int indent) const = 0;
    /// The type tag: "TextMessage" or "Container".
    [[nodiscard]] virtual std::string mtype() const = 0;
    /// The body of the binary form; throws IOException.
    virtual void write(MessageStream& stream) const = 0;
    virtual void read(MessageStream& stream) = 0;
    /// Puts the body with the stream's serialize hook for children.
    virtual void serialize(MessageStream& stream) const = 0;
    /// The list-of-strings form: appends elements; reads from `index` and advances it. False when
    /// the elements do not hold a message; this message is then unspecified but sound.
    virtual void serialize(std::vector<std::string>& elements) const = 0;
    [[nodiscard]] virtual bool deSerialize(std::vector<std::string>& elements,
                                           unsigned int& index) = 0;
    /// The compact string form: appends; reads from `position` and advances it. False as above.
    virtual void serialize(std::string& text) const = 0;
    [[nodiscard]] virtual bool deSerialize(const std::string& text, unsigned long& position) = 0;
    virtual void visit(IMessageVisitor& visitor) = 0;

    Message& operator=(const Message&) = delete;

protected:
    Message() = default;
    Message(const Message&) = default;
};

/// Prints with an indent of 0.
std::ostream& operator<<(std::ostream& out, const Message& message);

} // namespace TAV
