#include "daemons/vornd/StatusReply.h"

#include "daemons/vornd/StatusWords.h"
#include "tav/comm/MessageStream.h"
#include "tav/comm/TextMessage.h"
#include "tav/ui/cmd/tavNames.h"

#include <string_view>
#include <utility>

namespace vornd {

namespace {

/// Bytes of a number, and of the number that stands before every string.
constexpr std::size_t NUMBER_SIZE = 4;

std::size_t stringSize(std::string_view text) {
    return NUMBER_SIZE + text.size();
}

std::size_t textSize(std::string_view key, std::string_view text) {
    return stringSize(key) + stringSize("TextMessage") + stringSize(text);
}

std::size_t emptyContainerSize(std::string_view key, std::string_view name) {
    return stringSize(key) + stringSize("Container") + NUMBER_SIZE + stringSize(name);
}

/// A container that knows how many bytes it takes as somebody's child.
class SizedContainer {
public:
    explicit SizedContainer(const std::string& name)
        : m_container(std::make_unique<TAV::Container>(name)),
          m_size(emptyContainerSize(name, name)) {}

    void add(const std::string& key, const std::string& text) {
        m_container->SetProperty(key, text);
        m_size += textSize(key, text);
    }
    void add(SizedContainer&& child) {
        m_size += child.m_size;
        const std::string key = child.m_container->GetName();
        m_container->adopt(key, std::move(child.m_container));
    }
    [[nodiscard]] std::size_t size() const { return m_size; }
    std::unique_ptr<TAV::Container> take() { return std::move(m_container); }

private:
    std::unique_ptr<TAV::Container> m_container;
    std::size_t m_size;
};

bool isSelected(std::string_view name, Selection::Attributes attributes) {
    using Attributes = Selection::Attributes;
    if (name == RES_ACL) return attributes == Attributes::access || attributes == Attributes::all;
    if (attributes == Attributes::withoutAcl || attributes == Attributes::all) return true;
    const bool isNamed = name == RES_NAME || name == RES_TYPE;
    // The table shows targets and failures by node or for the resource, as this attribute says.
    return isNamed || (attributes == Attributes::basic && name == RES_IS_RUNNABLE);
}

void addValues(SizedContainer& resource, const char* name, const NodeValues& values,
               const std::optional<std::string>& onlyNode) {
    SizedContainer container(name);
    bool isEmpty = true;
    for (const auto& [node, value] : values) {
        if (onlyNode && !node.empty() && node != *onlyNode) continue;
        container.add(node, value);
        isEmpty = false;
    }
    if (!isEmpty) resource.add(std::move(container));
}

SizedContainer describe(const Resource& resource, const Selection& selection) {
    SizedContainer container(resource.name());
    for (const auto& [name, value] : resource.attributes)
        if (isSelected(name, selection.attributes)) container.add(name, value);
    if (selection.states) {
        addValues(container, RES_STATE, resource.states, selection.node);
        addValues(container, RES_TARGET, resource.targets, selection.node);
    }
    if (selection.failures)
        addValues(container, RES_CURRENT_FAILURE, resource.failures, selection.node);
    return container;
}

} // namespace

StatusReply::StatusReply()
    : m_reply(std::make_unique<TAV::Container>(STATUS_REPLY)),
      m_size(TAV::MessageStream::HEADER_SIZE + NUMBER_SIZE + stringSize(STATUS_REPLY)) {}

void StatusReply::add(const Resource& resource, const Selection& selection) {
    SizedContainer container = describe(resource, selection);
    m_size += container.size();
    m_reply->adopt(resource.name(), container.take());
}

void StatusReply::addError(const std::string& name, int number) {
    if (m_errors == nullptr) {
        m_errors = std::make_unique<TAV::Container>(REPLY_ERROR);
        m_size += emptyContainerSize(REPLY_ERROR, REPLY_ERROR);
    }
    const std::string text = std::to_string(number);
    m_errors->SetProperty(name, text);
    m_size += textSize(name, text);
}

void StatusReply::setResult(int number) {
    const std::string text = std::to_string(number);
    m_reply->SetProperty(REPLY_RESULT, text);
    m_size += textSize(REPLY_RESULT, text);
}

bool StatusReply::isTooLarge() const {
    return m_size > TAV::MessageStream::MAX_FRAME;
}

std::unique_ptr<TAV::Container> StatusReply::take() {
    if (m_errors != nullptr) m_reply->adopt(REPLY_ERROR, std::move(m_errors));
    return std::move(m_reply);
}

} // namespace vornd
