#include "cppgen/clsLog.h"
#include "cppgen/clsLogHooks.h"
#include "platform/include/process.h"
#include "platform/include/slots.h"

#include <cstdio>
#include <sstream>

namespace CLS_Debug {

namespace {

constexpr unsigned ASSERTION_ALERT = 6015;
constexpr const char* ASSERTION_ID = "(:CLSGEN00100:)";
constexpr int STATUS_MESSAGE_TYPE = 1;
constexpr int DUMP_LEVEL = 3;

constexpr const char* FACILITY = "VORN";
constexpr const char* MISSING_TEXT = "Message not found";
/// Holds the longest catalog text and its arguments; longer alerts are cut.
constexpr int ALERT_TEXT_SIZE = 2148;
/// Holds one line of a stack dump; longer ones are cut.
constexpr std::size_t DUMP_LINE_SIZE = 1024;

constinit thread_local bool t_asserting = false;

/// What an alert passes on: identifier and tint as far as they exist.
std::string alertArgument(const char* alertId, const std::string& tint) {
    std::string argument = alertId != nullptr ? alertId : "";
    if (!argument.empty() && !tint.empty()) argument += ' ';
    return argument + tint;
}

void tellDiagnostics(unsigned number, const std::string& argument, const std::string& logFile) {
    if (argument.empty()) {
        clsd_alertprintft(number);
        sendstatus(STATUS_MESSAGE_TYPE, number, {});
        return;
    }
    const char* const arguments[] = {argument.c_str(), logFile.c_str()};
    clsd_alertprintft(number, arguments[0], arguments[1]);
    sendstatus(STATUS_MESSAGE_TYPE, number, arguments);
}

/// Without a dump: what failed may be the reporting itself.
[[noreturn]] void endAtOnce() {
    if (clsuInDevelopmentMode()) clsAbort();
    scls_exit_fast(0, 1);
}

[[noreturn]] void reportAssertion(const char* conditionText, const char* file, int line) {
    std::ostringstream text;
    text << " *ASSERTION FAILURE*. File [" << file << "] Line [" << line << "] Condition ["
         << conditionText << "]";
    s_dbug().alert(text, ASSERTION_ALERT, ASSERTION_ID);
    if (!clsuInDevelopmentMode()) kgdsdst(DUMP_LEVEL, clsWriteCallback, clsFlushCallback);
    endAtOnce();
}

} // namespace

void CLSlog::alert(std::ostream& text, unsigned alertNumber, const char* alertId, clsdmctx*) {
    CLSlogStaticData& data = CLSlogStaticData::s_staticData();
    if (data.getSuppressAlerts()) return;
    std::string tint;
    threadTintText(tint);
    tellDiagnostics(alertNumber, alertArgument(alertId, tint), data.getLogFileName());

    std::ostringstream line;
    if (!tint.empty()) line << ' ' << tint;
    line << " Created alert : ";
    if (alertId != nullptr) line << alertId << " : ";
    line << textOf(text);
    print(line, DETAIL_DEFAULT, noneModule(), TYPE_ALERT, false);
}

void CLSlog::printAlertText(unsigned alertNumber, std::span<const FormatArgument> arguments) {
    char text[ALERT_TEXT_SIZE] = "";
    char formatted[ALERT_TEXT_SIZE] = "";
    if (messageText(static_cast<int>(alertNumber), text, ALERT_TEXT_SIZE)) {
        lsfp(static_cast<lsfctx*>(clsgGet(CLSG_LSF)), formatted, sizeof formatted, text, arguments);
    } else {
        copy_cut(formatted, sizeof formatted, MISSING_TEXT);
    }
    std::printf("%s-%d: %s\n", FACILITY, static_cast<int>(alertNumber), formatted);
}

void clsAssert(bool condition, const char* conditionText, const char* file, int line) {
    if (condition) return;
    if (t_asserting) endAtOnce();
    t_asserting = true;
    try {
        reportAssertion(conditionText, file, line);
    } catch (...) {
        endAtOnce();
    }
}

void clsAbort() {
    slzabort();
}

int clsWriteCallback(const char* format, ...) {
    char line[DUMP_LINE_SIZE] = "";
    std::va_list arguments;
    va_start(arguments, format);
    skgovprint(line, sizeof line, format, arguments);
    va_end(arguments);
    return std::printf("%s", line);
}

void clsFlushCallback() {
    std::fflush(nullptr);
}

void clsdCbkLog(const char* module, int level) {
    if (module == nullptr) return;
    std::ostringstream text;
    text << " Debug level set to " << level << " for module " << module;
    s_dbug().log(text, DETAIL_DEFAULT);
    CLSlogModule::getReference(module)->setClsdLevelLog(static_cast<unsigned>(level));
    if (CLSlogStaticData::s_staticData().getIsTorvd()) keepRegistryLevel(module, level);
}

} // namespace CLS_Debug
