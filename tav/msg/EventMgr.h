#pragma once

#include <string>

struct EvmEventHandle_s;

namespace TAV {

/// Builds one event with one string variable and posts it to the event manager daemon. A
/// connection is made and dropped for every event. Failures are told on standard error. Used by one
/// thread.
class EventMgr {
public:
    /// Names and status are borrowed and outlive the object; the status is never written.
    EventMgr(const char* eventName, const char* variableName, int* status);
    EventMgr(const EventMgr&) = delete;
    EventMgr& operator=(const EventMgr&) = delete;
    virtual ~EventMgr();

    /// The whole posting of a text; 0 or FAILED.
    static int sendEvent(const char* eventName, const char* variableName, const std::string& text,
                         int* status);

    /// Creates the event; 0 or FAILED.
    int createEvent();
    /// Sets the variable on the event; the event library's result. The value is borrowed.
    int setEventVar(char*& value);
    /// Posts the event and releases it; 0 or FAILED.
    int postEvent();
    /// Tells the event library's text for the last status.
    void prtEventStatus();

    static constexpr int FAILED = 2;

private:
    void destroyEvent();
    int failPosting();

    EvmEventHandle_s* m_event = nullptr;
    int m_status = 0; ///< last result of the event library
    char* m_value = nullptr;
    const char* m_variableName;
    const char* m_eventName;
    [[maybe_unused]] int* m_callersStatus;
};

} // namespace TAV
