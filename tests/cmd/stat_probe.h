#pragma once

#include "tav/comm/Container.h"
#include "tav/msg/TavLogger.h"
#include "tav/ui/cmd/CmdParse.h"
#include "tav/ui/cmd/CmdStat.h"

#include <memory>
#include <string>
#include <utility>
#include <vector>

/// A logger whose collected text a test can read.
struct OpenLogger : TAV::TavLogger {
    OpenLogger() : TavLogger(TAV::ROUTE_STDERR, TAV::Cmds::EVENT_NAME) {}
    using TavLogger::m_text;
};

/// Holds the logger, which must be there before the command.
struct LoggerHolder {
    OpenLogger logger;
};

/// A status command whose state a test can set and read.
struct StatProbe : LoggerHolder, TAV::CmdStat {
    using CmdStat::clusterMember;
    using CmdStat::m_form;
    using CmdStat::m_optionTable;
    using CmdStat::m_quiet;
    using CmdStat::m_requestEntries;
    using CmdStat::results;
    using CmdStat::statRecords;

    StatProbe() : CmdStat(&logger) {}

    /// Parses a command line; the chosen form, 0 when the usage would be shown.
    int parse(std::vector<std::string> words) {
        words.insert(words.begin(), "vorn_stat");
        std::vector<char*> argv;
        for (std::string& word : words) argv.push_back(word.data());
        TAV::CmdParse(static_cast<int>(argv.size()), argv.data(), &logger).initArgs(m_optionTable);
        return scanArgs() == DONE ? m_form : 0;
    }

    int take(std::unique_ptr<TAV::Container> reply) {
        m_reply = std::move(reply);
        return procEngineData();
    }
    int take(const TAV::Container& reply) { return take(std::make_unique<TAV::Container>(reply)); }

    /// Renders the records as a form does, into the logger's text.
    void render(int form, bool verbosely = false) {
        m_form = form;
        verbose = verbosely;
        Layout layout = form == FORM_TABLE         ? tableLayout()
                        : form == FORM_PERMISSIONS ? permissionLayout()
                                                   : blockLayout();
        printRecords(layout);
    }
};

/// Shows a reply as every form does; for replies of any shape.
inline void show_as_every_form(const TAV::Container& reply) {
    for (int form = TAV::CmdStat::FORM_BLOCKS; form <= TAV::CmdStat::FORM_PERMISSIONS; ++form) {
        for (const bool verbosely : {false, true}) {
            StatProbe command;
            command.take(reply);
            command.render(form, verbosely);
        }
    }
}
