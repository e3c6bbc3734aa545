#pragma once

#include <string>
#include <utility>

/// Failures of authorisation (may the user do it?) and authentication (who is the user?). Two
/// families of their own, apart from the other exceptions: what is caught here is told to the user
/// as its text stands.
namespace TAV {

class AuthorizationException {
public:
    AuthorizationException() : m_category("Authorization Exception:") {}
    AuthorizationException(const AuthorizationException&) = default;
    AuthorizationException& operator=(const AuthorizationException&) = default;
    virtual ~AuthorizationException() = default;
    [[nodiscard]] virtual std::string getExceptionMessage() const { return m_category; }

protected:
    std::string m_category;
};

class AuthenticationException {
public:
    AuthenticationException() : m_category("Authentication Exception:") {}
    AuthenticationException(const AuthenticationException&) = default;
    AuthenticationException& operator=(const AuthenticationException&) = default;
    virtual ~AuthenticationException() = default;
    [[nodiscard]] virtual std::string getExceptionMessage() const { return m_category; }

protected:
    std::string m_category;
};

/// A member of a family with a message of its own: the category with the message right behind it.
template <class Family>
class AuthMessage : public Family {
public:
    [[nodiscard]] std::string getExceptionMessage() const override {
        return this->m_category + m_message;
    }

protected:
    explicit AuthMessage(std::string message) : m_message(std::move(message)) {}
    std::string m_message;
};
using AuthenticationMessage = AuthMessage<AuthenticationException>;
using AuthorizationMessage = AuthMessage<AuthorizationException>;

class UnexpectedAuthMsgException : public AuthenticationMessage {
public:
    UnexpectedAuthMsgException()
        : AuthenticationMessage("unexpected authentication message received") {}
};

class UnknownAuthMsgException : public AuthenticationMessage {
public:
    UnknownAuthMsgException() : AuthenticationMessage("unknown message received") {}
};

class ServerAuthException : public AuthenticationMessage {
public:
    ServerAuthException() : AuthenticationMessage("authentication server error") {}
};

class UserNotAuthenticatedException : public AuthenticationMessage {
public:
    UserNotAuthenticatedException() : AuthenticationMessage("user not authenticated") {}
};

class SocketFailureException : public AuthenticationMessage {
public:
    SocketFailureException() : AuthenticationMessage("socket I/O failure") {}
};

class IllFormatPermission : public AuthorizationMessage {
public:
    IllFormatPermission() : AuthorizationMessage("Unknown or ill-formatted permission setting") {}
};

class IllegalPermissionOp : public AuthorizationMessage {
public:
    IllegalPermissionOp() : AuthorizationMessage("The permission operation is not applicable") {}
};

class UsernameConflict : public AuthorizationMessage {
public:
    UsernameConflict()
        : AuthorizationMessage("Username conflicts with the owner of the resource") {}
    explicit UsernameConflict(const std::string& name)
        : AuthorizationMessage("Username " + name + " conflicts with the owner of the resource") {}
};

class GroupnameConflict : public AuthorizationMessage {
public:
    GroupnameConflict()
        : AuthorizationMessage("Groupname conflicts with the primary group of the resource") {}
    explicit GroupnameConflict(const std::string& name)
        : AuthorizationMessage("Groupname " + name +
                               " conflicts with the primary group of the resource") {}
};

class AclInfoNotAvailable : public AuthorizationMessage {
public:
    AclInfoNotAvailable() : AuthorizationMessage("The Acl information not available") {}
    explicit AclInfoNotAvailable(int code)
        : AuthorizationMessage("The Acl information not available rc=" + std::to_string(code)) {}
};

class UnknownAclEntry : public AuthorizationMessage {
public:
    UnknownAclEntry() : AuthorizationMessage("Unknown Acl entry") {}
};

class NoPrivilegeException : public AuthorizationMessage {
public:
    NoPrivilegeException()
        : AuthorizationMessage("User does not have sufficient privilege for the operation") {}
};

class IllegalAclEntryType : public AuthorizationMessage {
public:
    IllegalAclEntryType() : AuthorizationMessage("Illegal Acl entry Type") {}
};

class AuthorizeFileMissException : public AuthorizationMessage {
public:
    AuthorizeFileMissException()
        : AuthorizationMessage("Both register allow and deny files are missing.") {}
};

/// Tells its text alone.
class DuplicateAclEntryException : public AuthorizationMessage {
public:
    explicit DuplicateAclEntryException(const std::string& text) : AuthorizationMessage(text) {}
    [[nodiscard]] std::string getExceptionMessage() const override { return m_message; }
};

class InvalidAclEntryString : public AuthorizationMessage {
public:
    InvalidAclEntryString() : AuthorizationMessage("The Acl entry String is invalid") {}
};

class DefaultPermissionMissException : public AuthorizationMessage {
public:
    DefaultPermissionMissException()
        : AuthorizationMessage("The default permssion file is missing") {}
};

class AclFileCreationFailure : public AuthorizationMessage {
public:
    AclFileCreationFailure() : AuthorizationMessage("Failed to create the Acl file") {}
};

class AclOperationFailure : public AuthorizationMessage {
public:
    AclOperationFailure() : AuthorizationMessage("The Acl operation failed") {}
    explicit AclOperationFailure(int code)
        : AuthorizationMessage("The Acl operation failed rc=" + std::to_string(code)) {}
};

class SIAFailure : public AuthorizationMessage {
public:
    SIAFailure() : AuthorizationMessage("The SIA function failed") {}
};

/// The one that this library raises. Keeps which identity it was, and whether it named a group.
class InvalidIdentity : public AuthorizationException {
public:
    InvalidIdentity() : m_message("The input identity is invalid") {}
    InvalidIdentity(const std::string& identity, bool isGroup)
        : m_identity(identity), m_message("The input identity " + identity + " is invalid"),
          m_isGroup(isGroup) {}
    [[nodiscard]] std::string getExceptionMessage() const override {
        return m_category + m_message;
    }
    [[nodiscard]] const std::string& identity() const { return m_identity; }
    [[nodiscard]] bool isGroup() const { return m_isGroup; }

private:
    std::string m_identity;
    std::string m_message;
    bool m_isGroup = false;
};

} // namespace TAV
