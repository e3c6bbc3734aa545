// Containers whose children are still encoded in the frame they came in.

#include "tav/comm/BodyReader.h"
#include "tav/comm/Container.h"
#include "tav/comm/MessageStream.h"
#include "tav/comm/MessageTree.h"

#include <algorithm>
#include <utility>

namespace TAV {

namespace {

class BodySource {
public:
    explicit BodySource(const EncodedBody& body) : m_reader(body) {}

    bool open(std::string_view& name, std::uint32_t& children) {
        children = m_reader.count();
        name = m_reader.string();
        return true;
    }
    bool allows(std::size_t /*level*/) { return true; }
    std::unique_ptr<Message> child(std::string_view& key) {
        key = m_reader.string();
        if (!m_reader.isText()) return std::make_unique<Container>();
        return std::make_unique<TextMessage>(std::string(m_reader.string()));
    }
    bool leaf(Message& /*message*/) { return true; }
    [[nodiscard]] std::size_t mostChildren() const {
        return m_reader.remaining() / LEAST_STREAM_CHILD;
    }

private:
    BodyReader m_reader;
};

} // namespace

Container::Container(EncodedBody body) : m_encoded(std::move(body)) {
    BodyReader reader(m_encoded);
    reader.count();
    m_name = reader.string();
}

/// Leaves the body that comes next encoded. False, and the stream stands where it stood, when it
/// has to be decoded now: the frame does not last, or the body is not plain.
bool Container::postpone(MessageStream& stream) {
    if (!stream.keepsFrame()) return false;
    const std::size_t begin = stream.position();
    const bool plain = BodyCheck(stream).pass(std::max<std::size_t>(stream.level(), 1));
    const std::size_t end = stream.position();
    stream.rewind(begin);
    if (!plain) return false;
    stream.rewind(end);
    Container encoded(stream.bodyAt(begin, end));
    m_name.swap(encoded.m_name);
    m_encoded = std::move(encoded.m_encoded);
    return true;
}

void Container::decode() const {
    BodySource source(m_encoded);
    Container decoded;
    TreeBuilder(source).build(decoded);
    m_children.swap(decoded.m_children);
    m_encoded = {};
}

void Container::eachChild(const ChildUse& use) const {
    if (m_encoded.frame != nullptr) {
        eachEncodedChild(use);
        return;
    }
    for (const Child& child : m_children) {
        const std::string value = *child.message;
        use(child.key, value, asContainer(child.message.get()));
    }
}

void Container::eachEncodedChild(const ChildUse& use) const {
    // Its own copy of the body: whoever uses a child may have this container decoded.
    const EncodedBody body = m_encoded;
    BodyReader reader(body);
    std::uint32_t left = reader.count();
    reader.string();
    for (; left > 0; --left) {
        const std::string_view key = reader.string();
        if (reader.isText()) {
            use(key, reader.string(), nullptr);
        } else {
            const Container inner(reader.container());
            use(key, inner.m_name, &inner);
        }
    }
}

} // namespace TAV
