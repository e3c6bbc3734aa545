#include "cppgen/clsException.h"

#include "platform/include/nls.h"

#include <memory>
#include <ostream>
#include <string_view>
#include <utility>
#include <vector>

namespace cls {

Exception::Exception() = default;

Exception::Exception(const std::string& message) : m_message(message) {}

Exception::Exception(const std::string& message, const Exception& cause) : Exception(message) {
    appendClone(cause);
    appendClones(cause.m_nested);
}

Exception::Exception(const Exception& other) : Exception() {
    copyOwnFields(other);
    appendClones(other.m_nested);
}

Exception& Exception::operator=(const Exception& other) {
    if (this == &other) return *this;
    appendClones(other.m_nested);
    copyOwnFields(other);
    return *this;
}

/// Errors may be nested to any depth, so nothing here recurses over them.
Exception::~Exception() {
    std::list<Exception*> pending;
    pending.swap(m_nested);
    while (!pending.empty()) {
        const std::unique_ptr<Exception> dying(pending.front());
        pending.pop_front();
        pending.splice(pending.end(), dying->m_nested);
    }
}

void Exception::copyOwnFields(const Exception& other) {
    m_message = other.m_message;
    m_language = other.m_language;
    m_rc = other.m_rc;
    m_msgId = other.m_msgId;
    m_severity = other.m_severity;
}

Exception& Exception::appendShallow(const Exception& error) {
    auto copy = std::make_unique<Exception>();
    copy->copyOwnFields(error);
    m_nested.push_back(copy.get());
    return *copy.release();
}

void Exception::appendClone(const Exception& error) {
    Exception built;
    built.appendShallow(error).appendClones(error.m_nested);
    m_nested.splice(m_nested.end(), built.m_nested);
}

void Exception::appendClones(const std::list<Exception*>& errors) {
    Exception built; // owns what is made until all of it is
    std::vector<std::pair<const std::list<Exception*>*, Exception*>> pending{{&errors, &built}};
    while (!pending.empty()) {
        const auto [source, target] = pending.back();
        pending.pop_back();
        for (const Exception* const error : *source) {
            if (error == nullptr) continue;
            Exception& copy = target->appendShallow(*error);
            if (!error->m_nested.empty()) pending.emplace_back(&error->m_nested, &copy);
        }
    }
    m_nested.splice(m_nested.end(), built.m_nested);
}

const std::string& Exception::what() const {
    return what(nullptr);
}

const std::string& Exception::what(const unsigned char* language) const {
    followLanguage(language);
    return m_message;
}

const char* Exception::getText() const {
    return getText(nullptr);
}

const char* Exception::getText(const unsigned char* language) const {
    return what(language).c_str();
}

std::string Exception::className() const {
    return "Exception";
}

void Exception::appendToHistory(const Exception& error) {
    appendClone(error);
}

void Exception::appendToHistory(const std::list<Exception*>& errors) {
    appendClones(errors);
}

void Exception::getEntireErrorStack(std::list<Exception*>& out) const {
    Exception stack;
    stack.appendClone(*this);
    stack.appendClones(m_nested);
    out.splice(out.end(), stack.m_nested);
}

std::string Exception::getEntireErrorStack() const {
    return getEntireErrorStack(nullptr);
}

std::string Exception::getEntireErrorStack(const unsigned char* language) const {
    std::string stack = what(language);
    for (const Exception* const error : m_nested) {
        stack += '\n';
        stack += error->what(language);
    }
    return stack;
}

void Exception::print(std::ostream& out) const {
    out << className() << " : " << what();
}

void Exception::updateMessage(const unsigned char*) const {}

void Exception::followLanguage(const unsigned char* language) const {
    const char* const name = reinterpret_cast<const char*>(language);
    if (name == nullptr) {
        if (m_language.empty()) return;
        m_language.clear();
    } else {
        if (lstclo(name, m_language.c_str()) == 0) return;
        m_language = name;
    }
    updateMessage(language);
}

Exception* Exception::clone() const {
    return std::make_unique<Exception>(*this).release();
}

const Exception* Exception::getMatchingException(unsigned id) const {
    const auto carries = [id](const Exception& error) {
        return static_cast<unsigned>(error.m_msgId) == id;
    };
    if (carries(*this)) return this;
    for (auto error = m_nested.rbegin(); error != m_nested.rend(); ++error) {
        if (carries(**error)) return *error;
    }
    return nullptr;
}

std::ostream& operator<<(std::ostream& out, const Exception& error) {
    return out << error.what();
}

std::string NoMemoryException::className() const {
    return "NoMemoryException";
}

std::string BadIOException::className() const {
    return "BadIOException";
}

std::string raiseText(const std::string& text, const char* file, int line) {
    const std::string_view path(file);
    const std::string unit(path.substr(path.find_last_of('/') + 1));
    return text + "\n(File: " + unit + ", line: " + std::to_string(line) + '\n';
}

} // namespace cls
