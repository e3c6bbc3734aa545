#include "cppgen/clsUserErrorException.h"

#include "cppgen/clsErrorArguments.h"
#include "cppgen/clsLog.h"
#include "platform/include/slots.h"
#include "tav/msg/tav_ZelCoreCtx.h"
#include "tav/msg/zelgetmsg.h"

#include <memory>
#include <sstream>

namespace cls {

namespace {

constexpr const char* SOURCE_NAME = "clsUserErrorException";
constexpr std::size_t TEXT_SIZE = 2048;

lsfctx* formatContext() {
    return static_cast<lsfctx*>(clsgGet(CLSG_LSF));
}

struct ReleaseDescriptor {
    void operator()(lsfdsc* list) const { lsfdrm(formatContext(), list); }
};
using DescriptorOwner = std::unique_ptr<lsfdsc, ReleaseDescriptor>;

/// Selects a language in the formatting context for a scope.
class SelectedLanguage {
public:
    explicit SelectedLanguage(const char* language) {
        const auto contexts = TAV::ZelCoreCtx::getInstance();
        lsfsli(formatContext(), contexts != nullptr ? contexts->getLangId(language) : nullptr);
    }
    ~SelectedLanguage() { lsfsli(formatContext(), nullptr); }
    SelectedLanguage(const SelectedLanguage&) = delete;
    SelectedLanguage& operator=(const SelectedLanguage&) = delete;
};

template <class... Pieces>
void logLine(const Pieces&... pieces) {
    std::ostringstream line;
    (line << ... << pieces);
    CLS_Debug::s_dbug().log(line, CLS_Debug::DETAIL_DEFAULT);
}

template <class... Pieces>
void traceLine(CLS_Debug::DebugDetail detail, const Pieces&... pieces) {
    CLS_Debug::CLSlog& log = CLS_Debug::s_dbug();
    if (!log.writes(detail)) return;
    std::ostringstream line;
    (line << ... << pieces);
    log.out(line, detail);
}

/// Formats into `buffer`, as the language has it; negative on failure.
int formatIn(const char* language, char* buffer, std::size_t size, const char* text,
             const lsfdsc* list) {
    const SelectedLanguage selected(language);
    return lsfpd(formatContext(), buffer, size, text, list);
}

} // namespace

RefCountedDescriptor* RefCountedDescriptor::create() {
    return new RefCountedDescriptor;
}

RefCountedDescriptor::~RefCountedDescriptor() {
    lsfdrm(formatContext(), m_desc);
}

void RefCountedDescriptor::addRef() {
    ++m_refCount;
}

void RefCountedDescriptor::delRef() {
    CLS_Debug::clsAssert(m_refCount > 0, "m_refCount > 0", SOURCE_NAME, 145);
    if (--m_refCount == 0) delete this;
}

void RefCountedDescriptor::setDesc(lsfdsc* list) {
    lsfdrm(formatContext(), m_desc);
    m_desc = list;
}

UserErrorException::UserErrorException() : m_descriptor(RefCountedDescriptor::create()) {}

UserErrorException::UserErrorException(const Exception* cause) : UserErrorException() {
    if (cause == nullptr) return;
    Exception::appendToHistory(*cause);
    Exception::appendToHistory(cause->getNestedErrorMessages());
}

UserErrorException::UserErrorException(const UserErrorException& other)
    : Exception(other), m_pureMessage(other.m_pureMessage), m_descriptor(other.m_descriptor) {
    traceLine(CLS_Debug::DETAIL_ALGORITHM, " UserErrorException: in = with id:", getMsgId());
    m_descriptor->addRef(); // last, as nothing gives it back when a constructor fails
}

UserErrorException& UserErrorException::operator=(const UserErrorException& other) {
    if (this == &other) return *this;
    Exception::operator=(other);
    m_pureMessage = other.m_pureMessage;
    other.m_descriptor->addRef();
    m_descriptor->delRef();
    m_descriptor = other.m_descriptor;
    traceLine(CLS_Debug::DETAIL_ALGORITHM, " UserErrorException: in = with id:", getMsgId());
    return *this;
}

UserErrorException::~UserErrorException() {
    m_descriptor->delRef();
}

std::string UserErrorException::className() const {
    return "UserErrorException";
}

const std::string& UserErrorException::getPureMessage() const {
    return getPureMessage(nullptr);
}

const std::string& UserErrorException::getPureMessage(const unsigned char* language) const {
    followLanguage(language);
    return m_pureMessage;
}

/// Copies of this exception keep the list they share.
void UserErrorException::replaceDescriptor(lsfdsc* list) {
    RefCountedDescriptor* const holder = RefCountedDescriptor::create();
    holder->setDesc(list);
    m_descriptor->delRef();
    m_descriptor = holder;
}

void UserErrorException::setUserErrorException(int rc, int msgId,
                                               std::span<const FormatArgument> arguments) {
    DescriptorOwner list(lsfdl(formatContext()));
    if (list == nullptr) {
        logLine(" UserErrorException: Could not init lsf descriptor");
        return;
    }
    char text[TEXT_SIZE] = "";
    int severity = 0;
    if (TAV::zelgetmsg(TAV::FACILITY, msgId, text, sizeof text, &severity, nullptr) != 0) {
        logLine(" UserErrorException: BAD MSG ID in set :", msgId);
        return;
    }
    appendErrorArguments(formatContext(), list.get(), msgId, text, arguments);
    replaceDescriptor(list.get());
    static_cast<void>(list.release());
    setRc(rc);
    setMsgId(msgId);
    setSeverity(severity);
    const std::string language = m_language;
    updateMessage(language.empty() ? nullptr
                                   : reinterpret_cast<const unsigned char*>(language.c_str()));
}

void UserErrorException::updateMessage(const unsigned char* language) const {
    const lsfdsc* const list = m_descriptor->getDesc();
    if (list == nullptr) {
        logLine(" Error: UserErrorException: Message can not be updated,",
                "since lsfArgs is not correctly initted. Use correct contructor.");
        return;
    }
    const char* const name = reinterpret_cast<const char*>(language);
    traceLine(CLS_Debug::DETAIL_DEFAULT, " UserErrorException: Locale is ",
              name != nullptr ? name : "(unspecified)");
    char text[TEXT_SIZE] = "";
    if (TAV::zelgetmsg(TAV::FACILITY, getMsgId(), text, sizeof text, nullptr, name) != 0) {
        logLine(" Error: UserErrorException bad msg id in update ", getMsgId());
        return;
    }
    traceLine(CLS_Debug::DETAIL_ALGORITHM, " UserErrorException: size of args is ", lsfdcnt(list));
    char pure[TEXT_SIZE] = "";
    const int length = formatIn(name, pure, sizeof pure, text, list);
    if (length < 0) {
        logLine(" Error: UserErrorException lsfpd failed: ", length);
        return;
    }
    takeText(pure);
}

void UserErrorException::takeText(const char* pure) const {
    m_pureMessage = pure;
    traceLine(CLS_Debug::DETAIL_ALGORITHM, " UserErrorException: m_pureMessage is [", m_pureMessage,
              "]");
    const FormatArgument parts[] = {TAV::FACILITY, getMsgId(), m_pureMessage};
    m_message = format_message("%s-%4.4d: %s\n", parts);
    traceLine(CLS_Debug::DETAIL_ALGORITHM, " UserErrorException: m_message is [", m_message, "]");
}

} // namespace cls
