#include "tav/msg/EventMgr.h"

#include "tav/msg/EventMgrLibrary.h"

#include <cstdio>
#include <iostream>
#include <memory>

namespace TAV {

namespace {

/// Longest status text shown, with its NUL.
constexpr std::size_t STATUS_TEXT_SIZE = 100;

struct DropConnection {
    void operator()(EvmConnectionHandle_s* connection) const {
        event_library::destroyConnection(connection);
    }
};

} // namespace

EventMgr::EventMgr(const char* eventName, const char* variableName, int* status)
    : m_variableName(variableName), m_eventName(eventName), m_callersStatus(status) {}

EventMgr::~EventMgr() {
    destroyEvent();
}

int EventMgr::sendEvent(const char* eventName, const char* variableName, const std::string& text,
                        int* status) {
    std::string copy = text;
    char* value = copy.data();
    EventMgr event(eventName, variableName, status);
    if (event.createEvent() != 0) return FAILED;
    event.setEventVar(value);
    return event.postEvent();
}

int EventMgr::createEvent() {
    m_status = event_library::createEvent(m_eventName, &m_event);
    if (m_status == 0) return 0;
    std::cerr << "Failed to create event '" + std::string(m_eventName) + "'\n";
    prtEventStatus();
    destroyEvent();
    return FAILED;
}

int EventMgr::setEventVar(char*& value) {
    m_value = value;
    m_status = event_library::setStringVariable(m_event, m_variableName, m_value);
    return m_status;
}

int EventMgr::postEvent() {
    EvmConnectionHandle_s* made = nullptr;
    m_status = event_library::createConnection(&made);
    const std::unique_ptr<EvmConnectionHandle_s, DropConnection> connection(made);
    if (m_status != 0) {
        std::fprintf(stderr, "Error creating connection to post event \"%s\" return code = %d\n",
                     m_eventName, m_status);
        return failPosting();
    }
    m_status = event_library::postEvent(connection.get(), m_event);
    if (m_status != 0) {
        std::fprintf(stderr, "Error posting event \"%s\" return code = %d\n", m_eventName,
                     m_status);
        return failPosting();
    }
    destroyEvent();
    return 0;
}

int EventMgr::failPosting() {
    prtEventStatus();
    destroyEvent();
    return FAILED;
}

void EventMgr::prtEventStatus() {
    char text[STATUS_TEXT_SIZE];
    event_library::statusText(m_status, text, sizeof text);
    std::cerr << "Error: " + std::string(text) + "\n";
}

void EventMgr::destroyEvent() {
    event_library::destroyEvent(m_event);
    m_event = nullptr;
}

} // namespace TAV
