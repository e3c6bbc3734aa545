#include "tav/ui/cmd/entry.h"

#include "platform/include/process.h"
#include "platform/include/threads.h"
#include "tav/msg/TavLogger.h"
#include "tav/msg/TavLoggerOutput.h"
#include "tav/msg/zelgetmsg.h"
#include "tav/registry/clsgenv.h"
#include "tav/ui/cmd/CmdParse.h"
#include "tav/ui/cmd/CmdStat.h"
#include "tav/ui/cmd/errorRecord.h"

#include <cstdlib>
#include <string_view>

void tavcmd_main(int argc, char** argv) {
    TAV::tav_stat_main(argc, argv);
}

namespace TAV {

namespace {

/// Anywhere on the line it hands the whole command line to the cluster stack's status command.
constexpr std::string_view HAND_OFF_WORD = "-u";
/// Return codes from here on are no statuses of a failed run, which then ends with 0.
constexpr int FIRST_NO_STATUS = 199;

bool asksForHandOff(int argc, char** argv) {
    for (int index = 1; index < argc; ++index)
        if (argv[index] == HAND_OFF_WORD) return true;
    return false;
}

[[noreturn]] void exitEarly(int status) {
    clsgenvterm();
    std::exit(status);
}

void startPlatform() {
    slos record{};
    if (scls_meta_init(&record, 0) != 0) {
        printErrorRecord(record);
        exitEarly(EXIT_FAILURE);
    }
    clshinit();
    cls_thrInitctx();
    // Somebody who stops reading the output is told of, instead of ending the run unseen.
    scls_ignore_broken_pipes();
    installMessageTextHook();
}

void recordHome() {
    const char* home = clsgenv(CLSGENV_HOME);
    if (home == nullptr) exitEarly(EXIT_FAILURE);
    clssetzelmarhome(home);
}

int exitStatus(int outcome, int returnCode) {
    if (outcome == Cmds::USAGE) return EXIT_FAILURE;
    return outcome == Cmds::FAILED && returnCode >= FIRST_NO_STATUS ? 0 : returnCode;
}

[[noreturn]] void finish(int status) {
    if (!standardOutputArrived() && status == 0) status = TavLogger::OUTPUT_FAILED;
    clshterm();
    clsgenvterm();
    std::exit(status);
}

} // namespace

void tav_stat_main(int argc, char** argv) {
    if (asksForHandOff(argc, argv)) exitEarly(vornqstatmai(argc, argv));
    startPlatform();
    recordHome();

    TavLogger logger(ROUTE_STDERR, Cmds::EVENT_NAME);
    CmdStat command(&logger);
    CmdParse parser(argc, argv, &logger);
    if (command.isSIHA()) std::exit(EXIT_FAILURE);
    command.initPaths();

    const int outcome = command.procArgs(parser);
    if (outcome == Cmds::USAGE) command.showUsage();
    finish(exitStatus(outcome, *logger.getRtnCode()));
}

} // namespace TAV
