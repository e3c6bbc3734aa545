#include "tav/msg/EventMgr.h"

#include "evm/libevm/evm.h"

#include <cstdio>
#include <iostream>
#include <memory>
#include <type_traits>

namespace TAV {

namespace {

/// Longest status text shown, with its NUL.
constexpr std::size_t STATUS_TEXT_SIZE = 100;

struct DropConnection {
    void operator()(EvmConnection_t connection) const { EvmConnDestroy(connection); }
};
using ConnectionPtr = std::unique_ptr<std::remove_pointer_t<EvmConnection_t>, DropConnection>;

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
    m_status = EvmEventCreateVa(&m_event, EvmITEM_NAME, m_eventName, EvmITEM_NONE);
    if (m_status == 0) return 0;
    std::cerr << "Failed to create event '" + std::string(m_eventName) + "'\n";
    prtEventStatus();
    destroyEvent();
    return FAILED;
}

int EventMgr::setEventVar(char*& value) {
    m_value = value;
    const EvmVarValue_t text{m_value};
    m_status = EvmVarSet(m_event, m_variableName, EvmTYPE_STRING, text, 0, 0);
    return m_status;
}

int EventMgr::postEvent() {
    EvmConnection_t made = nullptr;
    m_status =
        EvmConnCreate(EvmCONNECTION_POST, EvmRESPONSE_WAIT, nullptr, nullptr, nullptr, &made);
    const ConnectionPtr connection(made);
    if (m_status != 0) {
        std::fprintf(stderr, "Error creating connection to post event \"%s\" return code = %d\n",
                     m_eventName, m_status);
        return failPosting();
    }
    m_status = EvmEventPost(connection.get(), m_event);
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
    char text[STATUS_TEXT_SIZE] = "";
    EvmStatusTextGet(static_cast<EvmStatus_t>(m_status), text, sizeof text);
    std::cerr << "Error: " + std::string(text) + "\n";
}

void EventMgr::destroyEvent() {
    EvmEventDestroy(m_event);
    m_event = nullptr;
}

} // namespace TAV
