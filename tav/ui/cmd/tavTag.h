#pragma once

#include "tav/ui/cmd/tavArg.h"

namespace TAV {

/// A flag: one option word, which may be repeated.
class tavTag : public virtual tavArg {
public:
    tavTag(int id, arg_Status status, const std::string& tag, const std::string& key);
    /// A required flag.
    tavTag(int id, const std::string& tag, const std::string& key);

    bool find(const std::string& token) override { return token == m_tag; }
    int proc(int& index, const int& last, char** argv) override;
    arg_Status& showStatus() override { return m_tagStatus; }
    /// Always one entry: whether the word appeared.
    void setArgList(std::list<std::string>& request) override;
    /// ARG_TRUE or ARG_FALSE.
    std::string& showArgValue() override;

    [[nodiscard]] arg_Status getArgStat() const { return m_tagStatus; }

protected:
    std::string m_tag;
    arg_Status m_tagStatus;

private:
    [[nodiscard]] const char* appeared() const;

    std::string m_shown; ///< what showArgValue hands out
};

} // namespace TAV
