#pragma once

#include "tav/comm/Message.h"

#include <string>

namespace TAV {

/// A leaf: one text value.
class TextMessage final : public Message {
public:
    TextMessage() = default;
    explicit TextMessage(std::string text);
    TextMessage(const TextMessage&) = default;

    operator std::string() const override { return m_text; }
    [[nodiscard]] TextMessage* clone() const override;
    void print(std::ostream& out, int indent) const override;
    [[nodiscard]] std::string mtype() const override;
    void write(MessageStream& stream) const override;
    void read(MessageStream& stream) override;
    void serialize(MessageStream& stream) const override;
    void serialize(std::vector<std::string>& elements) const override;
    [[nodiscard]] bool deSerialize(std::vector<std::string>& elements,
                                   unsigned int& index) override;
    void serialize(std::string& text) const override;
    [[nodiscard]] bool deSerialize(const std::string& text, unsigned long& position) override;
    void visit(IMessageVisitor& visitor) override;

    [[nodiscard]] virtual const std::string& GetText() const { return m_text; }
    [[nodiscard]] virtual const std::string& getText() const { return m_text; }
    virtual void SetText(const std::string& text) { m_text = text; }

    /// The shared empty text that stands for "no such child". Lives until the process ends; never
    /// owned, changed or deleted by callers.
    static const TextMessage* Null();

private:
    std::string m_text;
};

} // namespace TAV
