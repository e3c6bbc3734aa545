#pragma once

#include "tav/ui/cmd/tavArg.h"

namespace TAV {

/// One positional value.
class tavValue : public virtual tavArg {
public:
    tavValue(int id, arg_Status status, const std::string& key);
    /// A required value.
    tavValue(int id, const std::string& key);

    /// Everything that is no option word.
    bool find(const std::string& token) override { return !isOption(token.c_str()); }
    /// Rejects a second value, and an empty one where a value is required.
    int proc(int& index, const int& last, char** argv) override;
    arg_Status& showStatus() override { return m_valueStatus; }
    /// One entry when a value was given.
    void setArgList(std::list<std::string>& request) override;
    std::string& showArgValue() override { return m_value; }

    void writeValue(const std::string& value) { m_value = value; }

protected:
    std::string m_value;
    arg_Status m_valueStatus;
};

} // namespace TAV
