#include "daemons/vornd/StatusRequest.h"

#include "daemons/vornd/StatusWords.h"
#include "tav/comm/TextMessage.h"
#include "tav/ui/cmd/tavNames.h"

#include <algorithm>
#include <array>
#include <string_view>

namespace vornd {

namespace {

using Form = StatusRequest::Form;

/// The forms that an option asks for, and the key under which their names travel.
struct FormEntry {
    const char* option;
    const char* namesKey;
    Form form;
};
constexpr std::array<FormEntry, 5> FORMS{
    {{TAV::tav_PRINT, TAV::tav_PRINT, Form::profile},
     {TAV::tav_FULL, TAV::tav_FULL, Form::full},
     {TAV::tav_LIST, TAV::tav_LIST, Form::list},
     {TAV::tav_ISREGISTERED, TAV::tav_RESOURCE, Form::registered},
     {TAV::tav_ISRUNNING, TAV::tav_RESOURCE, Form::running}}};
constexpr FormEntry STATES{nullptr, TAV::tav_RESOURCE, Form::states};

/// The entries of a request. An entry that should be a text and is none makes it unsound.
class Entries {
public:
    explicit Entries(const TAV::Container& container) : m_container(container) {}

    [[nodiscard]] bool isSound() const { return m_sound; }
    std::optional<std::string> text(const std::string& key) {
        const TAV::Message* const child = m_container.GetMessage(key);
        if (child == TAV::TextMessage::Null()) return std::nullopt;
        if (TAV::asContainer(child) == nullptr) return std::string(*child);
        m_sound = false;
        return std::nullopt;
    }
    bool option(const std::string& key) { return text(key + TAV::tav_TAG) == OPTION_GIVEN; }

private:
    const TAV::Container& m_container;
    bool m_sound = true;
};

/// Null when the entries ask for several forms at once.
const FormEntry* chosenForm(Entries& entries) {
    const FormEntry* chosen = nullptr;
    for (const FormEntry& candidate : FORMS) {
        if (!entries.option(candidate.option)) continue;
        if (chosen != nullptr) return nullptr;
        chosen = &candidate;
    }
    return chosen == nullptr ? &STATES : chosen;
}

std::vector<std::string> splitNames(std::string_view list) {
    std::vector<std::string> names;
    while (true) {
        const std::size_t end = list.find(TAV::LIST_SEPARATOR);
        names.emplace_back(list.substr(0, end));
        if (end == std::string_view::npos) break;
        list.remove_prefix(end + 1);
    }
    std::sort(names.begin(), names.end());
    names.erase(std::unique(names.begin(), names.end()), names.end());
    return names;
}

} // namespace

bool StatusRequest::isQuestion() const {
    return form == Form::registered || form == Form::running;
}

std::optional<StatusRequest> StatusRequest::read(const TAV::Message& message) {
    const TAV::Container* const container = TAV::asContainer(&message);
    if (container == nullptr || container->GetName() != STATUS_REQUEST) return std::nullopt;
    Entries entries(*container);
    const FormEntry* const chosen = chosenForm(entries);
    if (chosen == nullptr) return std::nullopt;
    StatusRequest request;
    request.form = chosen->form;
    request.verbose = entries.option(TAV::tav_VERB);
    request.member = entries.text(TAV::tav_HOST);
    if (const std::optional<std::string> names = entries.text(chosen->namesKey))
        request.names = request.isQuestion() ? std::vector{*names} : splitNames(*names);
    if (!entries.isSound() || (request.isQuestion() && !request.names)) return std::nullopt;
    return request;
}

} // namespace vornd
