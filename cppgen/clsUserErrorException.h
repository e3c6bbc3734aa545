#pragma once

#include "cppgen/clsException.h"
#include "platform/include/message_format.h"

#include <array>
#include <atomic>
#include <span>
#include <string>

namespace cls {

/// An argument list that user errors share with their copies, which threads may use independently
/// of each other. It is filled before it is shared.
class RefCountedDescriptor {
public:
    /// A new holder without a list and with one reference, the caller's.
    static RefCountedDescriptor* create();
    RefCountedDescriptor(const RefCountedDescriptor&) = delete;
    RefCountedDescriptor& operator=(const RefCountedDescriptor&) = delete;

    void addRef();
    /// Gives a reference back; the last one releases the list and the holder.
    void delRef();
    /// Takes the list over.
    void setDesc(lsfdsc* list);
    /// Borrowed; null when there is none.
    [[nodiscard]] lsfdsc* getDesc() const { return m_desc; }

private:
    RefCountedDescriptor() = default;
    ~RefCountedDescriptor();

    std::atomic<int> m_refCount{1};
    lsfdsc* m_desc = nullptr;
};

/// An exception whose message is a numbered message of facility VORN with its arguments, so that it
/// can be rendered again in another language.
///
/// What goes wrong while a message is made (no such number, a text that asks for what the call did
/// not give) is logged and leaves the exception with the message it had; nothing throws but for
/// lack of memory. Arguments are copied by the call. Thread rule as for Exception; copies may live
/// in other threads.
class UserErrorException : public Exception {
public:
    UserErrorException();
    template <class... Arguments>
    explicit UserErrorException(int msgId, const Arguments&... arguments) : UserErrorException() {
        set(msgId, arguments...);
    }
    /// The history becomes a clone of `cause` and clones of its own nested errors.
    template <class... Arguments>
    UserErrorException(const Exception& cause, int msgId, const Arguments&... arguments)
        : UserErrorException(&cause) {
        set(msgId, arguments...);
    }
    /// An empty message with that history; null is no history.
    explicit UserErrorException(const Exception* cause);
    UserErrorException(const UserErrorException& other);
    UserErrorException& operator=(const UserErrorException& other);
    ~UserErrorException() override;

    [[nodiscard]] std::string className() const override;
    void updateMessage(const unsigned char* language) const override;
    /// The text with its arguments, without facility and number. A null language is the
    /// environment's.
    [[nodiscard]] virtual const std::string& getPureMessage() const;
    [[nodiscard]] virtual const std::string& getPureMessage(const unsigned char* language) const;
    /// Makes this the error `msgId`; the severity is the message's own. With an unknown number
    /// nothing changes.
    virtual void setUserErrorException(int rc, int msgId,
                                       std::span<const FormatArgument> arguments);

private:
    template <class... Arguments>
    void set(int msgId, const Arguments&... arguments) {
        const std::array<FormatArgument, sizeof...(Arguments)> values{FormatArgument(arguments)...};
        UserErrorException::setUserErrorException(0, msgId, values);
    }
    void replaceDescriptor(lsfdsc* list);
    void takeText(const char* pure) const;

    mutable std::string m_pureMessage;
    RefCountedDescriptor* m_descriptor; ///< one reference is this exception's; never null
};

} // namespace cls
