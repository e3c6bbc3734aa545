// Taking the daemon's reply apart.

#include "platform/include/environment.h"
#include "tav/comm/Container.h"
#include "tav/msg/TavLoggerDiagnostics.h"
#include "tav/ui/cmd/CmdStat.h"

#include <string_view>

namespace TAV {

namespace {

constexpr std::string_view KEY_ERROR = "ERROR";
constexpr std::string_view KEY_STATE = "STATE";
constexpr std::string_view KEY_TARGET = "TARGET";
constexpr std::string_view KEY_CURRENT_FAILURE = "CURRENT_FAILURE";

using NodeValues = std::map<std::string, std::string>;

/// Where the values of a resource's item belong, null for an attribute.
NodeValues* nodeValues(rtnData& record, std::string_view item) {
    if (item == KEY_STATE) return &record.states;
    if (item == KEY_TARGET) return &record.targets;
    if (item == KEY_CURRENT_FAILURE) return &record.failures;
    return nullptr;
}

/// Keys come in ascending order.
void put(std::map<std::string, std::string>& map, std::string_view key, std::string_view value) {
    map.insert_or_assign(map.end(), std::string(key), value);
}

} // namespace

int CmdStat::procEngineData() {
    return takeReply([] {});
}

int CmdStat::takeReply(const std::function<void()>& recordMade) {
    if (!m_reply) return DONE;
    int outcome = DONE;
    m_reply->eachChild([&](std::string_view name, std::string_view value, const Container* inner) {
        if (name == KEY_RESULT) {
            if (procResult(value) == MESSAGE_REPLY_FAILED) outcome = FAILED;
        } else if (expectContainer(inner, name)) {
            if (name == KEY_ERROR) {
                outcome = procContainerData(inner);
            } else {
                outcome =
                    procContainerData(inner, statRecords.emplace_back(name, rtnData{}).second);
                recordMade();
            }
        }
    });
    if (m_passedOver != 0)
        uiDiagnostic(" reply: ", m_passedOver,
                     " texts where containers belong are passed over, the first is ",
                     m_firstPassedOver);
    return outcome;
}

int CmdStat::procResult(std::string_view text) {
    const int number = parse_int32(text.data(), text.size());
    results.emplace_back(number == MESSAGE_ABOUT_MEMBER ? clusterMember : KEY_RESULT, number);
    return number;
}

bool CmdStat::expectContainer(const Message* message, std::string_view name) {
    if (asContainer(message) != nullptr) return true;
    if (m_passedOver++ == 0) m_firstPassedOver = name;
    return false;
}

int CmdStat::procContainerData(const Message* resource, rtnData& record) {
    const Container* items = asContainer(resource);
    if (items == nullptr) return DONE;
    int result = DONE;
    items->eachChild([&](std::string_view name, std::string_view value, const Container* inner) {
        NodeValues* const map = nodeValues(record, name);
        if (map == nullptr)
            put(record.attributes, name, value);
        else if (expectContainer(inner, name))
            result = procContainerData(inner, *map);
    });
    return result;
}

int CmdStat::procContainerData(const Message* item, std::map<std::string, std::string>& map) {
    const Container* values = asContainer(item);
    if (values == nullptr) return DONE;
    values->eachChild([&map](std::string_view node, std::string_view value, const Container*) {
        put(map, node, value);
    });
    return DONE;
}

int CmdStat::procContainerData(const Message* errors) {
    return UiEvent::procContainerData(errors);
}

} // namespace TAV
