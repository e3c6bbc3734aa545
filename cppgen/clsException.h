#pragma once

#include <iosfwd>
#include <list>
#include <string>

namespace cls {

/// Base of everything the support, communication and cluster layers throw: a message, numeric
/// identifiers, and the errors that led to it (owned clones).
///
/// An exception object is used by one thread at a time, reading included: asking for another
/// language renders the message anew. References and pointers handed out live until the next such
/// change or the object's end.
class Exception {
public:
    Exception();
    explicit Exception(const std::string& message);
    /// The nested errors become a clone of `cause` followed by clones of its own nested errors.
    Exception(const std::string& message, const Exception& cause);
    Exception(const Exception& other);
    /// Copies message, language and identifiers; clones of the source's nested errors are appended.
    /// Assigning an exception to itself changes nothing.
    Exception& operator=(const Exception& other);
    virtual ~Exception();

    [[nodiscard]] virtual const std::string& what() const;
    /// A null language is the environment's.
    [[nodiscard]] virtual const std::string& what(const unsigned char* language) const;
    [[nodiscard]] virtual const char* getText() const;
    [[nodiscard]] virtual const char* getText(const unsigned char* language) const;
    [[nodiscard]] virtual std::string className() const;
    /// Append clones to the nested errors; the own list, and this exception itself, are appended as
    /// they are at the call. Null pointers in a list are passed over.
    virtual void appendToHistory(const Exception& error);
    virtual void appendToHistory(const std::list<Exception*>& errors);
    /// Appends clones of this exception and of each nested error; the caller owns them.
    virtual void getEntireErrorStack(std::list<Exception*>& out) const;
    [[nodiscard]] virtual std::string getEntireErrorStack() const;
    [[nodiscard]] virtual std::string getEntireErrorStack(const unsigned char* language) const;
    /// Writes the class name, " : " and the message.
    virtual void print(std::ostream& out) const;
    virtual void updateMessage(const unsigned char* language) const;

    /// A new plain Exception of the same contents, whatever the dynamic class; the caller owns it.
    [[nodiscard]] Exception* clone() const;
    [[nodiscard]] const std::list<Exception*>& getNestedErrorMessages() const { return m_nested; }
    /// This exception when its message identifier is `id`, else the last nested error with it, else
    /// null. Borrowed.
    [[nodiscard]] const Exception* getMatchingException(unsigned id) const;

    void setRc(int rc) { m_rc = rc; }
    [[nodiscard]] int getRc() const { return m_rc; }
    void setMsgId(int id) { m_msgId = id; }
    [[nodiscard]] int getMsgId() const { return m_msgId; }
    void setSeverity(int severity) { m_severity = severity; }
    [[nodiscard]] int getSeverity() const { return m_severity; }

protected:
    mutable std::string m_message;
    mutable std::string m_language; ///< of the last rendering; empty: the environment's

    /// Renders again when the language changes.
    void followLanguage(const unsigned char* language) const;

private:
    void copyOwnFields(const Exception& other);
    /// Appends a copy of the error without what is below it, and returns it.
    Exception& appendShallow(const Exception& error);
    /// Append clones with everything below them: all of them or, out of memory, none.
    void appendClone(const Exception& error);
    void appendClones(const std::list<Exception*>& errors);

    std::list<Exception*> m_nested; ///< owned
    int m_rc = 0;
    int m_msgId = 0;
    int m_severity = 0;
};

std::ostream& operator<<(std::ostream& out, const Exception& error);

class NoMemoryException : public Exception {
public:
    explicit NoMemoryException(const std::string& message) : Exception(message) {}
    [[nodiscard]] std::string className() const override;
};

class BadIOException : public Exception {
public:
    explicit BadIOException(const std::string& message) : Exception(message) {}
    [[nodiscard]] std::string className() const override;
};

/// `text`, a line end, and the place of the raise: "(File: <source unit>, line: <n>" and a line
/// end. The source unit is the file's name without its folders.
[[nodiscard]] std::string raiseText(const std::string& text, const char* file = __builtin_FILE(),
                                    int line = __builtin_LINE());

} // namespace cls
