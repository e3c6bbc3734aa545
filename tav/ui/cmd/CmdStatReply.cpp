// Taking the daemon's reply apart.

#include "platform/include/environment.h"
#include "tav/comm/Container.h"
#include "tav/msg/TavLoggerDiagnostics.h"
#include "tav/ui/cmd/CmdStat.h"

namespace TAV {

namespace {

constexpr char KEY_ERROR[] = "ERROR";
constexpr char KEY_STATE[] = "STATE";
constexpr char KEY_TARGET[] = "TARGET";
constexpr char KEY_CURRENT_FAILURE[] = "CURRENT_FAILURE";

} // namespace

int CmdStat::procEngineData() {
    return takeReply([] {});
}

int CmdStat::takeReply(const std::function<void()>& recordMade) {
    if (!m_reply) return DONE;
    int outcome = DONE;
    std::vector<Container::Child> children = m_reply->releaseAll();
    for (auto& [name, message] : children) {
        if (name == KEY_RESULT) {
            if (procResult(*message) == MESSAGE_REPLY_FAILED) outcome = FAILED;
        } else if (expectContainer(message.get(), name)) {
            if (name == KEY_ERROR) {
                outcome = procContainerData(message.get());
            } else {
                outcome = procContainerData(
                    message.get(), statRecords.emplace_back(std::move(name), rtnData{}).second);
                recordMade();
            }
        }
        message.reset();
    }
    if (m_passedOver != 0)
        uiDiagnostic(" reply: ", m_passedOver,
                     " texts where containers belong are passed over, the first is ",
                     m_firstPassedOver);
    return outcome;
}

int CmdStat::procResult(const Message& message) {
    const std::string text = message;
    const int number = parse_int32(text.data(), text.size());
    results.emplace_back(number == MESSAGE_ABOUT_MEMBER ? clusterMember : KEY_RESULT, number);
    return number;
}

bool CmdStat::expectContainer(const Message* message, const std::string& name) {
    if (asContainer(message) != nullptr) return true;
    if (m_passedOver++ == 0) m_firstPassedOver = name;
    return false;
}

int CmdStat::procContainerData(const Message* resource, rtnData& record) {
    const Container* items = asContainer(resource);
    if (items == nullptr) return DONE;
    int result = DONE;
    for (const auto& [name, message] : items->children()) {
        std::map<std::string, std::string>* map = nullptr;
        if (name == KEY_STATE) map = &record.states;
        if (name == KEY_TARGET) map = &record.targets;
        if (name == KEY_CURRENT_FAILURE) map = &record.failures;
        if (map == nullptr)
            record.attributes.insert_or_assign(record.attributes.end(), name, *message);
        else if (expectContainer(message.get(), name))
            result = procContainerData(message.get(), *map);
    }
    return result;
}

int CmdStat::procContainerData(const Message* item, std::map<std::string, std::string>& map) {
    const Container* values = asContainer(item);
    if (values == nullptr) return DONE;
    for (const auto& [node, message] : values->children())
        map.insert_or_assign(map.end(), node, *message);
    return DONE;
}

int CmdStat::procContainerData(const Message* errors) {
    return UiEvent::procContainerData(errors);
}

} // namespace TAV
