#pragma once

#include "tav/msg/Messages.h"

#include <string>

namespace TAV {

/// A numbered message: fetches texts from the catalog and holds the text last produced. Used by one
/// thread.
class TavMsg : public Messages {
public:
    static constexpr const char* MSG_FILE_NAME = "tav_ui";
    /// Where the catalog lies; %N stands for its name.
    static constexpr const char* MSG_FILE_LOC = "%N.cat";
    static constexpr int MSG_SET = 1;
    /// Destinations of display.
    static constexpr int COUT_MSG = 1;
    static constexpr int CERR_MSG = 2;
    static constexpr char LOG_ON = 'Y';
    static constexpr char LOG_OFF = 'N';
    /// The default text handed to the lookups.
    static constexpr const char* TAVMSG_UNKNOWN = "The TAV message catalog entry is missing.";

    TavMsg();
    explicit TavMsg(const char* name);
    TavMsg(const char* name, int set);
    TavMsg(const TavMsg&) = default;
    TavMsg& operator=(const TavMsg&) = default;
    virtual ~TavMsg();

    /// Both write into `out`, which holds TEXT_SIZE bytes: the message with facility, number and
    /// line end, or its bare text. 0 when found, otherwise -1 and "Message not found".
    int getString(char* out, const int& number) const;
    int getStringnofmt(char* out, const int& number) const;
    /// Writes the text and a line end to standard output for COUT_MSG, else to standard error.
    void display(int where) const;
    void clear();

protected:
    std::string m_text;
};

} // namespace TAV
