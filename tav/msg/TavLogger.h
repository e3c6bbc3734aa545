#pragma once

#include "platform/include/message_format.h"
#include "tav/msg/TavMsg.h"

#include <array>
#include <cstdint>
#include <span>
#include <string>
#include <string_view>

namespace TAV {

/// Where logged text goes. Every value but 1 and 2 means standard error.
enum tavLogRoute : std::uint32_t { ROUTE_STDERR = 0, ROUTE_STDOUT = 1, ROUTE_EVENT = 2 };

/// The command's one logger: renders numbered messages, remembers the number of the last one as the
/// command's return code, and prints the text or, with the event switch on, posts it as an event.
///
/// Used by one thread. A catalog text is never trusted as a format: arguments are typed values, a
/// placeholder without a fitting argument prints nothing. The catalog's part of a message is at
/// most Messages::TEXT_SIZE bytes long; arguments are never cut, as long names are what the user
/// must see, up to the formatter's own bound.
class TavLogger : public TavMsg {
public:
    TavLogger(tavLogRoute route, const char* eventName);
    TavLogger(const char* catalogName, tavLogRoute route, const char* eventName);
    TavLogger(const char* catalogName, int messageSet, tavLogRoute route, const char* eventName);

    /// Text := the rendered message; return code := number, also for an unknown message; delivered.
    template <class... Arguments>
    void log(int number, const Arguments&... arguments) {
        const std::array<FormatArgument, sizeof...(Arguments)> values{FormatArgument(arguments)...};
        logMessage(number, values);
    }
    /// As above, with the route set first.
    template <class... Arguments>
    void log(tavLogRoute route, int number, const Arguments&... arguments) {
        setLogRoute(route);
        log(number, arguments...);
    }

    /// Delivers the text with a line end; logOrigProc as it stands. A standard output that is
    /// closed or full is told on standard error and in the diagnostic log, and turns a return code
    /// of 0 into OUTPUT_FAILED.
    void logProc();
    void logOrigProc();
    /// Posts the text; `eventName` (may be null) becomes the event name first. 0 when posted.
    int sendLog(const char* eventName);

    void set(); ///< empties the text
    void append(std::string_view text);
    void append(); ///< adds a line end
    void setRtnCode(int code);
    /// Address of the return code; lives as long as the logger.
    int* getRtnCode();
    void setLogRoute(tavLogRoute route);
    [[nodiscard]] tavLogRoute getlogRoute() const;
    void setEventName(const char* name);
    [[nodiscard]] const std::string& getEventName() const;
    /// Non-zero: every logged text is posted whatever the route.
    void setEventSwitch(int& on);

    /// Name of the event variable that carries the text.
    static constexpr const char* TAV_LOGGER = "TAV_LOG";
    static constexpr int OUTPUT_FAILED = 1;

private:
    void logMessage(int number, std::span<const FormatArgument> arguments);
    void deliver(bool lineEnd);
    void print(bool lineEnd);

    int m_returnCode = 0;
    tavLogRoute m_route;
    int m_eventSwitch = 0;
    std::string m_eventName;
};

} // namespace TAV
