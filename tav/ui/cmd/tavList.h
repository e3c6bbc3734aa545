#pragma once

#include "tav/ui/cmd/tavArg.h"

namespace TAV {

/// Any number of positional values.
class tavList : public virtual tavArg {
public:
    tavList(int id, arg_Status status, const std::string& key);
    /// A list that must not be empty.
    tavList(int id, const std::string& key);

    void resetArgValue() override { m_values.clear(); }
    void copyList(std::list<std::string>& out) override { out = m_values; }
    void enterArgValue(const std::string& value) override { m_values.push_back(value); }
    /// Everything that is no option word.
    bool find(const std::string& token) override { return !isOption(token.c_str()); }
    int proc(int& index, const int& last, char** argv) override;
    arg_Status& showStatus() override { return m_listStatus; }
    /// One entry with the joined values when the list was given.
    void setArgList(std::list<std::string>& request) override;

    void writeList(const std::string& value) { m_values.push_back(value); }

protected:
    /// Appends the text, trimmed.
    void take(const char* text);

    std::list<std::string> m_values;
    arg_Status m_listStatus;
};

} // namespace TAV
