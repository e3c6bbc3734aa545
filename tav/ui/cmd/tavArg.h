#pragma once

#include <cstdint>
#include <list>
#include <string>

namespace TAV {

/// What an argument object knows of its item. A usage form is satisfied when none of its objects
/// is ARG_REQUIRED or ARG_INVALID. Statuses only move towards ARG_FOUND or ARG_INVALID.
enum arg_Status : std::int32_t {
    ARG_REQUIRED = 0, ///< must be given and has not been seen
    ARG_OPTIONAL = 1, ///< may be given and has not been seen
    ARG_INVALID = 3,  ///< appeared but is not acceptable
    ARG_FOUND = 4,    ///< appeared and was accepted
};

/// One thing that may stand on the command line of one usage form: recognises its token, takes it
/// with the values that follow, and later puts what it holds into the request. Used by one thread.
class tavArg {
public:
    tavArg(int id, const std::string& key);
    tavArg(const tavArg&) = delete;
    tavArg& operator=(const tavArg&) = delete;
    virtual ~tavArg() = default;

    /// Forgets collected values, copies them, adds one: only lists have any.
    virtual void resetArgValue() {}
    virtual void copyList(std::list<std::string>& /*out*/) {}
    virtual void enterArgValue(const std::string& /*value*/) {}

    /// Is the token this object's?
    virtual bool find(const std::string& token) = 0;
    /// Takes the token at argv[index] and the values after it, up to argv[last], and leaves `index`
    /// on the last one taken. ARG_TAKEN or ARG_REJECTED; also a rejection may have moved `index`.
    virtual int proc(int& index, const int& last, char** argv) = 0;
    /// The status that decides whether the object is satisfied.
    virtual arg_Status& showStatus() = 0;
    /// Appends this object's entries to the request.
    virtual void setArgList(std::list<std::string>& request) = 0;

    virtual std::string& showArgTag() { return m_key; }
    /// The value for people to read; the key where there is none.
    virtual std::string& showArgValue() { return m_key; }

    int& showArgID() { return m_id; }
    void setArgID(const int& id) { m_id = id; }
    std::string& showArgKey() { return m_key; }

    /// Values of an option's entry: it appeared, or it did not.
    static constexpr char ARG_TRUE[] = "1";
    static constexpr char ARG_FALSE[] = "0";

    static constexpr int ARG_TAKEN = 0;
    static constexpr int ARG_REJECTED = 3;
    static constexpr int ARG_NO_VALUE = 1; ///< of procKeyOrValue

protected:
    /// Option words begin with it, values never do.
    static bool isOption(const char* token) { return *token == '-'; }

    /// `out` := the text without the spaces around it; other white space stays.
    static void removeWhiteSpace(const char* text, std::string& out);
    /// Counts the leading spaces into `start`; returns the length up to the trailing ones, which is
    /// not positive for a text of nothing but spaces.
    static int paramFilter(const char* text, int& start);
    /// Advances to the next token, which must be a value: ARG_TAKEN or ARG_REJECTED.
    static int procKeyAndValue(int& index, const int& last, char** argv);
    /// Advances to the next token if it is a value: ARG_TAKEN or ARG_NO_VALUE.
    static int procKeyOrValue(int& index, const int& last, char** argv);

    int m_id;
    std::string m_key;
};

} // namespace TAV
