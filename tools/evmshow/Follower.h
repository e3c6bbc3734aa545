#pragma once

#include "tools/evmshow/ChangeWatch.h"
#include "tools/evmshow/Session.h"

#include <optional>

namespace evmshow {

/// Shows a file of records as it grows. When the file is rotated, renamed to PATH.1 while an older
/// PATH.1 becomes PATH.2 and so on, it is read to its end, then those that were begun after it.
class Follower {
public:
    Follower(const std::string& path, Session& session, Output& out);

    /// Until the program is told to end. Throws ReadError or OutputError.
    void run();

private:
    void readAndWait();
    void readOn();
    bool restartIfTruncated();
    std::optional<InputFile> successor() const;
    std::optional<std::string> successorName() const;
    void switchTo(InputFile next);

    const std::string m_path;
    Session& m_session;
    Output& m_out;
    ChangeWatch m_watch;
    InputFile m_file;
    SkipReport m_report;
    RecordFeed m_feed;
};

} // namespace evmshow
