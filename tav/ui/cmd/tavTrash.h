#pragma once

#include "tav/ui/cmd/tavArg.h"

namespace TAV {

/// Closes a usage form: catches what nothing else of the form accepts, which makes it invalid.
class tavTrash : public tavArg {
public:
    tavTrash(int id, const std::string& key);

    bool find(const std::string& /*token*/) override { return true; }
    int proc(int& index, const int& last, char** argv) override;
    arg_Status& showStatus() override { return m_status; }
    /// The key and the last token caught, only when there is one.
    void setArgList(std::list<std::string>& request) override;
    std::string& showArgValue() override { return m_caught; }

    [[nodiscard]] arg_Status getArgStat() const { return m_status; }

private:
    std::string m_caught;
    arg_Status m_status = ARG_OPTIONAL;
};

} // namespace TAV
