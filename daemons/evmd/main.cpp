#include "daemons/evmd/Daemon.h"
#include "platform/include/process.h"

#include <csignal>
#include <exception>
#include <iostream>

namespace {

constexpr const char* USAGE =
    "Usage:  evmd [--file PATH] [--file-size BYTES] [--help]\n"
    "\n"
    "Keeps the events that programs of this node post, in the foreground.\n"
    "--file PATH        the file of records (evmd.events in runtime_dir)\n"
    "--file-size BYTES  put the file aside as PATH.1 before it grows larger (67108864)\n"
    "node.conf is found through VORN_NODE_CONF. SIGTERM and SIGINT end it.\n";

constexpr int STATUS_FAILED = 1;

/// The signals that the main thread waits for; blocked here, and so in every thread that it starts.
sigset_t blockSignals() {
    sigset_t signals;
    sigemptyset(&signals);
    for (const int number : {SIGTERM, SIGINT}) sigaddset(&signals, number);
    pthread_sigmask(SIG_BLOCK, &signals, nullptr);
    return signals;
}

void awaitSignal(const sigset_t& signals) {
    int number = 0;
    while (sigwait(&signals, &number) != 0) {
    }
}

int run(const evmd::Options& options) {
    const sigset_t signals = blockSignals();
    scls_reserve_standard_streams();
    scls_ignore_broken_pipes();
    // A limit on file sizes is met like a full disk: the write fails.
    std::signal(SIGXFSZ, SIG_IGN);
    evmd::Daemon daemon(options);
    daemon.start();
    std::cout << "evmd: serving " << daemon.node() << std::endl;
    awaitSignal(signals);
    daemon.stop();
    return 0;
}

} // namespace

int main(int argc, char** argv) {
    try {
        const std::span<char* const> arguments(argv, static_cast<std::size_t>(argc));
        const evmd::Options options = evmd::parseOptions(arguments.subspan(argc > 0 ? 1 : 0));
        if (!options.help) return run(options);
        std::cout << USAGE;
        return 0;
    } catch (const std::exception& error) {
        std::cerr << "evmd: " << error.what() << std::endl;
        return STATUS_FAILED;
    }
}
