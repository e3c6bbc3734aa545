#pragma once

#include "tav/ui/cmd/tavList.h"
#include "tav/ui/cmd/tavTag.h"

namespace TAV {

/// A flag followed by several values; a repeated flag adds values.
class tavTagList : public tavTag, public tavList {
public:
    tavTagList(int id, arg_Status tagStatus, arg_Status listStatus, const std::string& tag,
               const std::string& key);
    /// One status for both.
    tavTagList(int id, arg_Status status, const std::string& tag, const std::string& key);

    bool find(const std::string& token) override { return tavTag::find(token); }
    /// The tag STDIN_TAG takes its values from standard input instead of the command line.
    int proc(int& index, const int& last, char** argv) override;
    /// The tag's, but the list's while a value that is required is missing after the tag.
    arg_Status& showStatus() override;
    /// The flag's entry, then the list's.
    void setArgList(std::list<std::string>& request) override;

    static constexpr char STDIN_TAG[] = "-xi";
    /// What is read of standard input, with a NUL.
    static constexpr int STDIN_SIZE = 1024;

private:
    int procFirstValue(int& index, const int& last, char** argv);
    void takeFurtherValues(int& index, const int& last, char** argv);
    void takeStandardInput();
};

} // namespace TAV
