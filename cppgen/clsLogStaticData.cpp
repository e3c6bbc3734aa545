#include "cppgen/clsLog.h"
#include "cppgen/clsLogHooks.h"
#include "platform/include/threads.h"

namespace CLS_Debug {

namespace {

constinit std::atomic<RegistryLevelGet> s_levelGet{nullptr};
constinit std::atomic<RegistryLevelSet> s_levelSet{nullptr};
constinit std::atomic<ThreadTintText> s_tintText{nullptr};
constinit std::atomic<MessageText> s_messageText{nullptr};
constinit slts_sm referenceMapMx;
constinit thread_local bool t_insideLogging = false;

} // namespace

CLSlogStaticData& CLSlogStaticData::s_staticData() {
    static constinit CLSlogStaticData data;
    return data;
}

void CLSlogStaticData::setIsTorvd(bool inside) {
    m_isTorvd = inside;
}

bool CLSlogStaticData::getIsTorvd() const {
    return m_isTorvd;
}

void CLSlogStaticData::setSuppressAlerts(bool suppressed) {
    m_suppressAlerts = suppressed;
}

bool CLSlogStaticData::getSuppressAlerts() const {
    return m_suppressAlerts;
}

void CLSlogStaticData::setLogUtilityFunction(void (*function)()) {
    m_logUtilityFunction = function;
}

void CLSlogStaticData::callLogUtilityFunction() const {
    void (*const function)() = m_logUtilityFunction;
    if (function == nullptr || InsideLogging::active()) return;
    const InsideLogging inside;
    function();
}

std::string CLSlogStaticData::getLogFileName() {
    const ReferenceMapLock lock;
    if (!m_logFileNameAsked) {
        m_logFileNameAsked = true;
        if (clsdget_logname(m_logFileName.data(), m_logFileName.size()) != 0) {
            m_logFileName[0] = '\0';
        }
    }
    return m_logFileName[0] != '\0' ? m_logFileName.data() : DEFAULT_LOG_LOC;
}

InsideLogging::InsideLogging() : m_outer(t_insideLogging) {
    t_insideLogging = true;
}

InsideLogging::~InsideLogging() {
    t_insideLogging = m_outer;
}

bool InsideLogging::active() {
    return t_insideLogging;
}

ReferenceMapLock::ReferenceMapLock() {
    sltsima(sltsini(), &referenceMapMx);
}

ReferenceMapLock::~ReferenceMapLock() {
    sltsimr(sltsini(), &referenceMapMx);
}

void setRegistryLevelHooks(RegistryLevelGet get, RegistryLevelSet set) {
    s_levelGet = get;
    s_levelSet = set;
}

void setThreadTintHook(ThreadTintText hook) {
    s_tintText = hook;
}

void setMessageTextHook(MessageText hook) {
    s_messageText = hook;
}

bool registryLevel(const std::string& module, int& level) {
    const RegistryLevelGet hook = s_levelGet;
    if (hook == nullptr || InsideLogging::active()) return false;
    const InsideLogging inside;
    return hook(module, level);
}

void keepRegistryLevel(const std::string& module, int level) {
    const RegistryLevelSet hook = s_levelSet;
    if (hook == nullptr || InsideLogging::active()) return;
    const InsideLogging inside;
    hook(module, level);
}

bool threadTintText(std::string& text) {
    const ThreadTintText hook = s_tintText;
    if (hook == nullptr || InsideLogging::active()) return false;
    const InsideLogging inside;
    return hook(text);
}

bool messageText(int number, char* buffer, int size) {
    const MessageText hook = s_messageText;
    if (hook == nullptr || InsideLogging::active()) return false;
    const InsideLogging inside;
    return hook(number, buffer, size) == 0;
}

} // namespace CLS_Debug
