#include "tav/comm/CommException.h"
#include "tav/comm/CompactForm.h"
#include "tav/comm/Container.h"
#include "tav/comm/MessageStream.h"
#include "tav/comm/MessageTree.h"
#include "tav/comm/commLog.h"

#include <algorithm>
#include <charconv>
#include <ostream>

namespace TAV {

void printIndent(std::ostream& out, int indent) {
    static constexpr std::string_view TABS = "\t\t\t\t\t\t\t\t\t\t\t\t\t\t\t\t"
                                             "\t\t\t\t\t\t\t\t\t\t\t\t\t\t\t\t";
    auto left = static_cast<std::size_t>(std::max(indent, 0));
    for (; left > TABS.size(); left -= TABS.size()) out << TABS;
    out << TABS.substr(0, left);
}

namespace {

class Printer {
public:
    Printer(std::ostream& out, int indent) : m_out(out), m_indent(indent) {}

    void open(const Container& container, std::size_t depth) {
        printIndent(m_out, at(depth));
        m_out << "Container [ Name: " << container.GetName() << '\n';
        m_childIndent = at(depth + 1);
    }
    void child(const Container::Child& entry, const Container* /*inner*/) {
        printIndent(m_out, m_childIndent);
        m_out << entry.key << ": \n";
    }
    void leaf(const Message& message, std::size_t depth) {
        message.print(m_out, at(depth));
        m_out << '\n';
    }
    void close(std::size_t depth) {
        printIndent(m_out, at(depth));
        m_out << ']';
        if (depth > 0) m_out << '\n';
        m_childIndent = at(depth);
    }

private:
    [[nodiscard]] int at(std::size_t depth) const { return m_indent + static_cast<int>(depth); }

    std::ostream& m_out;
    int m_indent;
    int m_childIndent = 0;
};

class StreamWriter {
public:
    explicit StreamWriter(MessageStream& stream) : m_stream(stream) {}

    void open(const Container& container, std::size_t /*depth*/) {
        m_stream.putub4(container.Size());
        m_stream.putstr(container.GetName());
    }
    void child(const Container::Child& entry, const Container* inner) {
        m_stream.putstr(entry.key);
        if (inner != nullptr) m_stream.putstr(inner->mtype());
    }
    void leaf(const Message& message, std::size_t /*depth*/) { m_stream.writeMessage(message); }
    void close(std::size_t /*depth*/) {}

private:
    MessageStream& m_stream;
};

class CompactWriter {
public:
    explicit CompactWriter(std::string& text) : m_text(text) {}

    void open(const Container& container, std::size_t /*depth*/) {
        putCompactContainer(m_text, container.Size(), container.GetName());
    }
    void child(const Container::Child& entry, const Container* /*inner*/) {
        putCompact(m_text, 'k', entry.key);
    }
    void leaf(const Message& message, std::size_t /*depth*/) { message.serialize(m_text); }
    void close(std::size_t /*depth*/) {}

private:
    std::string& m_text;
};

class ListWriter {
public:
    explicit ListWriter(std::vector<std::string>& elements) : m_elements(elements) {}

    void open(const Container& container, std::size_t /*depth*/) {
        m_elements.push_back(std::to_string(container.Size()));
        m_elements.push_back(container.GetName());
    }
    void child(const Container::Child& entry, const Container* /*inner*/) {
        m_elements.push_back(entry.message->mtype());
        m_elements.push_back(entry.key);
    }
    void leaf(const Message& message, std::size_t /*depth*/) { message.serialize(m_elements); }
    void close(std::size_t /*depth*/) {}

private:
    std::vector<std::string>& m_elements;
};

class StreamSource {
public:
    explicit StreamSource(MessageStream& stream)
        : m_stream(stream), m_above(std::max<std::size_t>(stream.level(), 1) - 1) {}

    bool open(std::string_view& name, std::uint32_t& children) {
        const auto count = static_cast<std::int32_t>(m_stream.getub4());
        children = static_cast<std::uint32_t>(std::max(count, 0));
        name = m_stream.getview();
        return true;
    }
    bool allows(std::size_t level) {
        m_stream.enterLevel(m_above + level);
        return true;
    }
    std::unique_ptr<Message> child(std::string_view& key) {
        key = m_stream.getview();
        m_type = m_stream.gettag();
        std::unique_ptr<Message> message(m_stream.create(m_type));
        if (message == nullptr) raiseAs<IOException>(MessageStream::UNKNOWN_TYPE);
        return message;
    }
    bool leaf(Message& message) {
        message.read(m_stream);
        return true;
    }
    [[nodiscard]] std::size_t mostChildren() const {
        return m_stream.remaining() / LEAST_STREAM_CHILD;
    }

private:
    MessageStream& m_stream;
    std::size_t m_above; ///< levels above the container that is read
    std::string m_type;  ///< kept between children for its memory
};

class CompactSource {
public:
    CompactSource(std::string_view text, std::size_t position)
        : m_text(text), m_reader(text, position) {}

    bool open(std::string_view& name, std::uint32_t& children) {
        return m_reader.container(children, name);
    }
    bool allows(std::size_t level) { return level <= MessageStream::MAX_DEPTH; }
    std::unique_ptr<Message> child(std::string_view& key) {
        if (!m_reader.counted('k', key)) return nullptr;
        if (m_reader.peek() == 'c') return std::make_unique<Container>();
        if (m_reader.peek() == 't') return std::make_unique<TextMessage>();
        commError(" Invalid container string: ", m_text.substr(0, CLSD_MAX_LINE));
        return nullptr;
    }
    bool leaf(Message& message) {
        std::string_view text;
        if (!m_reader.counted('t', text)) return false;
        static_cast<TextMessage&>(message).SetText(std::string(text));
        return true;
    }
    [[nodiscard]] std::size_t mostChildren() const { return m_reader.remaining() / LEAST_CHILD; }
    [[nodiscard]] std::size_t position() const { return m_reader.position(); }

private:
    static constexpr std::size_t LEAST_CHILD = std::string_view("k0|t0|").size();

    std::string_view m_text;
    CompactReader m_reader;
};

class ListSource {
public:
    ListSource(const std::vector<std::string>& elements, std::size_t index)
        : m_elements(elements), m_index(std::min(index, elements.size())) {}

    bool open(std::string_view& name, std::uint32_t& children) {
        if (remaining() < 2 || !count(m_elements[m_index], children)) return false;
        name = m_elements[m_index + 1];
        m_index += 2;
        return children <= mostChildren();
    }
    bool allows(std::size_t level) { return level <= MessageStream::MAX_DEPTH; }
    std::unique_ptr<Message> child(std::string_view& key) {
        if (remaining() < 2) return nullptr;
        const bool isText = m_elements[m_index] == TEXT_TAG;
        key = m_elements[m_index + 1];
        m_index += 2;
        if (isText) return std::make_unique<TextMessage>();
        return std::make_unique<Container>();
    }
    bool leaf(Message& message) {
        if (remaining() == 0) return false;
        static_cast<TextMessage&>(message).SetText(m_elements[m_index++]);
        return true;
    }
    [[nodiscard]] std::size_t mostChildren() const { return remaining() / LEAST_CHILD; }
    [[nodiscard]] std::size_t position() const { return m_index; }

private:
    /// Tag, key and text.
    static constexpr std::size_t LEAST_CHILD = 3;

    [[nodiscard]] std::size_t remaining() const { return m_elements.size() - m_index; }
    static bool count(const std::string& text, std::uint32_t& value) {
        const char* const last = text.data() + text.size();
        const auto [end, error] = std::from_chars(text.data(), last, value);
        return error == std::errc() && end == last;
    }

    const std::vector<std::string>& m_elements;
    std::size_t m_index;
};

} // namespace

void Container::print(std::ostream& out, int indent) const {
    walkTree(*this, Printer(out, indent));
}

void Container::write(MessageStream& stream) const {
    walkTree(*this, StreamWriter(stream));
}

void Container::read(MessageStream& stream) {
    if (m_children.empty() && m_encoded.frame == nullptr && postpone(stream)) return;
    StreamSource source(stream);
    TreeBuilder(source).build(*this);
}

void Container::serialize(MessageStream& stream) const {
    stream.putub4(Size());
    stream.putstr(m_name);
    for (const Child& child : children()) {
        stream.putstr(child.key);
        stream.serialize(*child.message);
    }
}

void Container::serialize(std::vector<std::string>& elements) const {
    walkTree(*this, ListWriter(elements));
}

bool Container::deSerialize(std::vector<std::string>& elements, unsigned int& index) {
    ListSource source(elements, index);
    if (!TreeBuilder(source).build(*this)) return false;
    index = static_cast<unsigned int>(source.position());
    return true;
}

void Container::serialize(std::string& text) const {
    walkTree(*this, CompactWriter(text));
}

bool Container::deSerialize(const std::string& text, unsigned long& position) {
    CompactSource source(text, position);
    if (!TreeBuilder(source).build(*this)) return false;
    position = source.position();
    return true;
}

} // namespace TAV
