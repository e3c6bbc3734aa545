#pragma once

#include <map>
#include <optional>
#include <string>

namespace vornd {

/// Whom a request speaks for. An object lives for one request and is used by one thread: what it
/// has found out it does not ask again.
class Caller {
public:
    virtual ~Caller() = default;
    /// The user's name; empty for a user that has none.
    [[nodiscard]] virtual const std::string& name() const = 0;
    /// Whether the user holds the cluster administrator's privileges.
    virtual bool isAdministrator() = 0;
    virtual bool belongsTo(const std::string& group) = 0;
};

/// A user of this machine, as its user and group database knows it. What cannot be looked up
/// counts as "no".
class SystemCaller final : public Caller {
public:
    /// `user` is the name that the connection carries. The communication layer writes the number of
    /// a user without a name, so a name of digits alone is taken for no name: it would otherwise
    /// speak for whoever is called like that.
    explicit SystemCaller(const std::string& user);

    [[nodiscard]] const std::string& name() const override { return m_name; }
    bool isAdministrator() override;
    bool belongsTo(const std::string& group) override;

private:
    std::string m_name;
    std::optional<bool> m_administrator;
    std::map<std::string, bool> m_groups;
};

/// The name that connections of the superuser carry.
[[nodiscard]] std::string superuserName();

} // namespace vornd
