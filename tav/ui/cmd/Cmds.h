#pragma once

#include "tav/ui/cmd/tavArg.h"
#include "tav/ui/cmd/tavTagList.h"

#include <list>
#include <memory>
#include <string>

namespace TAV {

class TavLogger;

/// The base of every command: owns the option table and the request entries, chooses the one usage
/// form that the command line satisfies, and turns it into request entries.
///
/// The option table holds every argument object of every form. Forms are numbered from 1; an
/// object's identifier is its form's number; the objects of one form stand together and end with
/// its tavTrash object, whose key is tav_TRASH. Used by one thread.
class Cmds {
public:
    /// The logger is borrowed and outlives the command.
    explicit Cmds(TavLogger* logger);
    Cmds(const Cmds&) = delete;
    Cmds& operator=(const Cmds&) = delete;
    virtual ~Cmds();

    virtual void showUsage() = 0;

    /// Chooses the form: DONE when exactly one is satisfied, otherwise USAGE. The quiet and force
    /// flags are taken from any form that accepted their option.
    int scanArgs();
    /// When the quiet flag is set: from now on everything logged is posted as an event, and the
    /// standard streams are silenced for good.
    void setQuietMode();
    /// Builds the request entries of the chosen form: DONE; FAILED when the caller's primary group
    /// cannot be looked up, which it has then reported.
    int setArgList();
    void appendArgList(std::string key, std::string value);
    /// Composes the installation's paths from its home: DONE or USAGE.
    int constructPaths();
    /// Releases the logger's text on standard output as it stands, or posts it.
    void display();
    /// Whether the node runs the single-node configuration; it has then printed message 275. Ends
    /// the process with status 1 when the configuration cannot be told.
    bool isSIHA();
    /// Prints on standard output that the command is superseded: message `messageNumber` with the
    /// replacement filled in, message 272, and an empty line.
    void showDeprecatedMessage(int messageNumber, const char* replacement);
    /// `out` := the bare text of a message of facility VORN, empty when there is none.
    static void getErrMsg(std::string& out, int number);

    /// Outcomes of a command's operations.
    static constexpr int DONE = 0;
    static constexpr int FAILED = 2; ///< and reported
    static constexpr int USAGE = 3;

    static constexpr int TAV_MSGSIZE = 2048; ///< size of message buffers
    static constexpr int PROC_ERR = -1;
    static constexpr int MAX_MSG_FLD = 10;
    static constexpr char tag_force[] = "-f";
    static constexpr char tag_quiet[] = "-q";
    /// The tag whose list values are read from standard input.
    static constexpr const char* tag_stdin = tavTagList::STDIN_TAG;

    /// Event that a command's texts are posted as.
    static constexpr char EVENT_NAME[] = "sys.zel.clu.vorn.log.ui";

protected:
    /// Hands an argument object over to the option table.
    void addArg(std::unique_ptr<tavArg> arg);
    [[nodiscard]] std::string messageText(int number) const;

    TavLogger* m_logger;
    bool m_quiet = false;
    bool m_force = false;
    std::string m_locale;
    int m_form = 0;                   ///< the chosen form, valid once scanArgs returned DONE
    std::list<tavArg*> m_optionTable; ///< owned
    std::list<std::string> m_requestEntries;

private:
    void noteFlags(tavArg& arg);
    int appendPrimaryGroup();
};

} // namespace TAV
