#include "tav/msg/TavLogger.h"

#include "tav/msg/EventMgr.h"
#include "tav/msg/TavLoggerOutput.h"

#include <iostream>

namespace TAV {

namespace {

/// An absent name is the empty one.
const char* nameOrEmpty(const char* name) {
    return name == nullptr ? "" : name;
}

} // namespace

TavLogger::TavLogger(tavLogRoute route, const char* eventName)
    : m_route(route), m_eventName(nameOrEmpty(eventName)) {}

TavLogger::TavLogger(const char* catalogName, tavLogRoute route, const char* eventName)
    : TavMsg(catalogName), m_route(route), m_eventName(nameOrEmpty(eventName)) {}

TavLogger::TavLogger(const char* catalogName, int messageSet, tavLogRoute route,
                     const char* eventName)
    : TavMsg(catalogName, messageSet), m_route(route), m_eventName(nameOrEmpty(eventName)) {}

void TavLogger::logMessage(int number, std::span<const FormatArgument> arguments) {
    char message[TEXT_SIZE];
    getString(message, number);
    m_text = format_message(message, arguments);
    m_returnCode = number;
    logProc();
}

void TavLogger::logProc() {
    deliver(true);
}

void TavLogger::logOrigProc() {
    deliver(false);
}

void TavLogger::deliver(bool lineEnd) {
    if (m_eventSwitch == 0 && m_route != ROUTE_EVENT)
        print(lineEnd);
    else if (sendLog(nullptr) != 0)
        std::cerr << "Evm log has failed.\n";
}

void TavLogger::print(bool lineEnd) {
    // The line end stands in the text while it is written, so that one write takes both.
    if (lineEnd) append();
    if (m_route != ROUTE_STDOUT)
        std::cerr << m_text;
    else if (!printStandardOutput(m_text) && m_returnCode == 0)
        m_returnCode = OUTPUT_FAILED;
    if (lineEnd) m_text.pop_back();
}

int TavLogger::sendLog(const char* eventName) {
    if (eventName != nullptr) setEventName(eventName);
    int status = 0;
    return EventMgr::sendEvent(m_eventName.c_str(), TAV_LOGGER, m_text, &status);
}

void TavLogger::set() {
    m_text.clear();
}

void TavLogger::append(std::string_view text) {
    m_text += text;
}

void TavLogger::append() {
    m_text += '\n';
}

void TavLogger::setRtnCode(int code) {
    m_returnCode = code;
}

int* TavLogger::getRtnCode() {
    return &m_returnCode;
}

void TavLogger::setLogRoute(tavLogRoute route) {
    m_route = route;
}

tavLogRoute TavLogger::getlogRoute() const {
    return m_route;
}

void TavLogger::setEventName(const char* name) {
    m_eventName = nameOrEmpty(name);
}

const std::string& TavLogger::getEventName() const {
    return m_eventName;
}

void TavLogger::setEventSwitch(int& on) {
    m_eventSwitch = on;
}

} // namespace TAV
