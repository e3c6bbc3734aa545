#include "tav/ui/cmd/UiEvent.h"

#include "platform/include/environment.h"
#include "tav/comm/CommException.h"
#include "tav/comm/Connection.h"
#include "tav/comm/Container.h"
#include "tav/msg/TavLogger.h"

namespace TAV {

namespace {

/// The connection layer's result for a daemon that refuses the caller.
constexpr int CONNECTION_REFUSED = 700;

} // namespace

UiEvent::UiEvent(TavLogger* logger) : Cmds(logger) {}

UiEvent::~UiEvent() = default;

int UiEvent::sendArgs(const std::string& requestName) {
    try {
        Container request(requestName);
        for (const std::string& entry : m_requestEntries) request.SetProperty(entry);
        Container* reply = nullptr;
        const int result = Connection().invokecmd(request, &reply, false, nullptr);
        m_reply.reset(reply);
        if (result == CONNECTION_OK) return DONE;
        if (result == CONNECTION_REFUSED) m_logger->log(ROUTE_STDERR, MESSAGE_CONNECTION_REFUSED);
        m_logger->log(ROUTE_STDERR, MESSAGE_REQUEST_FAILED);
        return FAILED;
    } catch (const FatalCommsException&) {
        m_logger->log(ROUTE_STDERR, MESSAGE_REQUEST_FAILED);
        return USAGE;
    }
}

int UiEvent::procContainerData(const Message* m) {
    const Container* numbers = asContainer(m);
    if (numbers == nullptr) return DONE;
    results.reserve(results.size() + numbers->children().size());
    for (const auto& [key, message] : numbers->children()) {
        const std::string text = *message;
        results.emplace_back(key, parse_int32(text.data(), text.size()));
    }
    return DONE;
}

} // namespace TAV
