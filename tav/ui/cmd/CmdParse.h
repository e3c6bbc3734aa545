#pragma once

#include <list>
#include <string>

namespace TAV {

class tavArg;
class TavLogger;

/// Walks the command line once for every usage form and offers each token to that form's argument
/// objects. Built once over a command line, used once, by one thread.
class CmdParse {
public:
    /// The vector and the logger are borrowed and outlive the parser. A command line without even a
    /// program name is an empty one.
    CmdParse(int argc, char** argv, TavLogger* logger);
    CmdParse(const CmdParse&) = delete;
    CmdParse& operator=(const CmdParse&) = delete;
    virtual ~CmdParse() = default;

    /// Parses for every form of the table, whose last object carries the number of forms.
    void initArgs(std::list<tavArg*>& table);
    /// Offers one token to the objects of one form, in table order, until one accepts it.
    void cmdSearch(char* token, std::list<tavArg*>& table, const int& form);
    /// Lets the object take the token at the current index; its result.
    int paramProc(tavArg* arg);

    /// The token at the current index.
    char* getTag() { return m_argv[m_index]; }
    /// Advances to the next token; false past the last one.
    bool iterate();
    void reset() { m_index = 0; }

private:
    int m_last;      ///< index of the last argument
    int m_index = 0; ///< of the token being offered; 0 is the program name
    char** m_argv;
    std::string m_programName;
    [[maybe_unused]] TavLogger* m_logger;
};

} // namespace TAV
