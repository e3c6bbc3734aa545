#include "platform/include/process.h"
#include "tools/evmshow/CommandLine.h"
#include "tools/evmshow/Follower.h"
#include "tools/evmshow/Interruption.h"

#include <unistd.h>

#include <ctime>
#include <exception>
#include <iostream>

namespace evmshow {

namespace {

/// Scripts test them: they stay as they are.
enum Status : int { COMPLETE = 0, SKIPPED = 1, USAGE_FAULT = 2, UNREADABLE = 3 };

void showFile(const std::string& name, Session& session, Output& out) {
    InputFile file = name == "-" ? InputFile::standardInput() : InputFile(name);
    SkipReport report(file.name());
    RecordFeed feed;
    while (file.readInto(feed)) {
        session.take(feed, report);
        // Whoever reads along must not wait for the next event.
        if (!file.isRegular()) out.flush();
    }
    feed.finish();
    session.take(feed, report);
    report.close();
}

/// All files, one after another; one that cannot be read does not keep the others back.
bool showFiles(const Options& options, Session& session, Output& out) {
    bool readable = true;
    for (const std::string& name : options.files) {
        try {
            showFile(name, session, out);
        } catch (const ReadError& error) {
            complain({}, error.what());
            readable = false;
        }
    }
    return readable;
}

int show(const Options& options) {
    if (options.follow) catchInterruptions();
    Output out(STDOUT_FILENO);
    const auto printer = makePrinter(options.form, options.text, out);
    Session session(options.filter, printer.get());
    bool readable = true;
    if (options.follow)
        Follower(options.files.front(), session, out).run();
    else
        readable = showFiles(options, session, out);
    if (options.form == Form::COUNT) out.put(std::to_string(session.accepted()) + "\n");
    out.flush();
    if (!readable) return UNREADABLE;
    return session.complete() ? COMPLETE : SKIPPED;
}

int run(int argc, char** argv) {
    scls_reserve_standard_streams();
    scls_ignore_broken_pipes();
    const Options options =
        parseCommandLine(argc, argv, static_cast<std::uint64_t>(std::time(nullptr)));
    if (!options.help) return show(options);
    Output out(STDOUT_FILENO);
    out.put(USAGE);
    out.flush();
    return COMPLETE;
}

} // namespace

} // namespace evmshow

int main(int argc, char** argv) {
    using namespace evmshow;
    try {
        return run(argc, argv);
    } catch (const UsageError& error) {
        complain({}, error.what());
        std::cerr << USAGE;
        return USAGE_FAULT;
    } catch (const std::exception& error) {
        complain({}, error.what());
        return UNREADABLE;
    }
}
