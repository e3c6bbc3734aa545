#include "tav/comm/TextMessage.h"

#include "platform/include/immortal.h"
#include "tav/comm/CompactForm.h"
#include "tav/comm/MessageStream.h"
#include "tav/comm/MessageTree.h"

#include <ostream>
#include <utility>

namespace TAV {

TextMessage::TextMessage(std::string text) : m_text(std::move(text)) {}

TextMessage* TextMessage::clone() const {
    return std::make_unique<TextMessage>(*this).release();
}

void TextMessage::print(std::ostream& out, int indent) const {
    printIndent(out, indent);
    out << "TextMessage[" << m_text << ']';
}

std::string TextMessage::mtype() const {
    return TEXT_TAG;
}

void TextMessage::write(MessageStream& stream) const {
    stream.putstr(m_text);
}

void TextMessage::read(MessageStream& stream) {
    m_text.assign(stream.getview());
}

void TextMessage::serialize(MessageStream& stream) const {
    stream.putstr(m_text);
}

void TextMessage::serialize(std::vector<std::string>& elements) const {
    elements.push_back(m_text);
}

bool TextMessage::deSerialize(std::vector<std::string>& elements, unsigned int& index) {
    if (index >= elements.size()) return false;
    m_text = elements[index++];
    return true;
}

void TextMessage::serialize(std::string& text) const {
    putCompact(text, 't', m_text);
}

bool TextMessage::deSerialize(const std::string& text, unsigned long& position) {
    CompactReader reader(text, position);
    std::string_view value;
    if (!reader.counted('t', value)) return false;
    m_text = value;
    position = reader.position();
    return true;
}

void TextMessage::visit(IMessageVisitor& visitor) {
    visitor.visitTextMessage(*this);
}

const TextMessage* TextMessage::Null() {
    static Immortal<TextMessage> null;
    return &*null;
}

} // namespace TAV
