#include "daemons/vornd/CheckSupervisor.h"
#include "daemons/vornd/Daemon.h"
#include "platform/include/process.h"

#include <csignal>
#include <exception>
#include <iostream>
#include <string_view>

namespace {

constexpr const char* USAGE =
    "Usage:  vornd [--help]\n"
    "\n"
    "Serves the resources of this node's cluster to the status command, in the foreground, and\n"
    "checks those that this node hosts.\n"
    "node.conf, found through VORN_NODE_CONF, names the cluster registry that holds them; action\n"
    "scripts lie below ZEL_VORN_HOME. The nodes of a cluster share registry and cluster_dir.\n"
    "SIGTERM and SIGINT end it, SIGHUP makes it read the registry anew.\n";

constexpr int STATUS_FAILED = 1;

/// The signals that the main thread waits for; blocked here, and so in every thread that it starts.
sigset_t blockSignals() {
    sigset_t signals;
    sigemptyset(&signals);
    for (const int number : {SIGTERM, SIGINT, SIGHUP}) sigaddset(&signals, number);
    pthread_sigmask(SIG_BLOCK, &signals, nullptr);
    return signals;
}

void serveUntilTold(vornd::Daemon& daemon, const sigset_t& signals) {
    while (true) {
        int number = 0;
        if (sigwait(&signals, &number) != 0) continue;
        if (number != SIGHUP) return;
        daemon.refresh();
    }
}

int run() {
    const sigset_t signals = blockSignals();
    scls_reserve_standard_streams();
    scls_ignore_broken_pipes();
    vornd::Daemon daemon;
    daemon.start();
    std::cout << "vornd: serving node " << daemon.node() << std::endl;
    serveUntilTold(daemon, signals);
    daemon.stop();
    return 0;
}

} // namespace

int main(int argc, char** argv) {
    const std::string_view argument = argc > 1 ? argv[1] : "";
    if (argument == vornd::CHECK_SUPERVISOR) return vornd::superviseCheck(argc, argv);
    if (argc == 2 && argument == "--help") {
        std::cout << USAGE;
        return 0;
    }
    try {
        if (argc > 1) throw vornd::StartError("it takes no arguments; see vornd --help");
        return run();
    } catch (const std::exception& error) {
        std::cerr << "vornd: " << error.what() << std::endl;
        return STATUS_FAILED;
    }
}
