#pragma once

#include "tav/ui/cmd/tavTag.h"
#include "tav/ui/cmd/tavValue.h"

namespace TAV {

/// A flag followed by one value; it may appear once.
class tavTagValue : public tavTag, public tavValue {
public:
    tavTagValue(int id, arg_Status tagStatus, arg_Status valueStatus, const std::string& tag,
                const std::string& key);
    /// One status for both.
    tavTagValue(int id, arg_Status status, const std::string& tag, const std::string& key);

    bool find(const std::string& token) override { return tavTag::find(token); }
    int proc(int& index, const int& last, char** argv) override;
    /// The tag's, but the value's while a value that is required is missing after the tag.
    arg_Status& showStatus() override;
    /// The flag's entry, then the value's.
    void setArgList(std::list<std::string>& request) override;
    std::string& showArgValue() override { return m_value; }

private:
    int procRequiredValue(int& index, const int& last, char** argv);
    int procOptionalValue(int& index, const int& last, char** argv);
};

} // namespace TAV
