#include "tests/daemons/daemons_support.h"

#include <gtest/gtest.h>
#include <sys/wait.h>

#include <cstdio>
#include <cstdlib>

namespace {

/// What a command prints, and "status N" after it.
std::string run(const std::string& command) {
    FILE* const output = popen((command + " 2>&1").c_str(), "r");
    char part[1024];
    std::string text;
    while (std::fgets(part, sizeof part, output) != nullptr) text += part;
    return text + "status " + std::to_string(WEXITSTATUS(pclose(output)));
}

TEST(Startup, TellsInOneLineWhyItCannotServe) {
    const char* const folder = std::getenv("VORN_TEST_BIN");
    const std::string program = std::string(folder == nullptr ? "." : folder) + "/vornd";
    const std::string conf = testFolder() + "/startup.conf";
    const std::string home = " ZEL_VORN_HOME=" + testFolder();
    struct Case {
        std::string conf, home, argument, output;
    };
    const Case table[] = {
        {"", "", "", "ZEL_VORN_HOME is not set; set it to the installation home"},
        {"", home + std::string(500, 'x'), "", "ZEL_VORN_HOME is too long: " + testFolder()},
        {"", home, "--background", "it takes no arguments; see vornd --help"},
        {"", home, "", "no registry at dir:" + testFolder() + "/none; make it with vornreg init"},
        {"cluster_registry = dir:zks\n", home, "",
         "the registry at dir:" + testFolder() +
             "/zks has no place for resources; make it with "
             "vornreg init"},
        {"colour = red\n", home, "", conf + ": line 3: key 'colour': "},
        {"cluster_registry = dir:made\nruntime_dir = startup.conf\n", home, "",
         "cannot listen in runtime_dir " + conf +
             ": Not a directory; make it writable or set another one in node.conf"},
        {"cluster_registry = dir:made\nruntime_dir = /" + std::string(120, 'x') + "\n", home, "",
         "runtime_dir /" + std::string(120, 'x') +
             " is too long for a socket; set a shorter one in node.conf"},
        {"cluster_registry = dir:made\ncluster_dir = startup.conf\n", home, "",
         "cannot join the cluster: " + conf},
        {"cluster_registry = dir:made\nnodes = 1:alpha, 2:beta\n"
         "peer_address = (ADDRESS=(PROTOCOL=tcp)(HOST=192.0.2.1)(PORT=0))\n",
         home, "",
         "cannot listen at peer_address (ADDRESS=(PROTOCOL=tcp)(HOST=192.0.2.1)(PORT=0)): "},
        {"peer_address = (ADDRESS=(PROTOCOL=tcp)(HOST=::)(PORT=1))\n", home, "",
         conf + ": line 3: key 'peer_address': the host '::' is none that other nodes can reach"},
        {"peer_address = (ADDRESS=(PROTOCOL=ipc)(KEY=k))\n", home, "",
         conf + ": line 3: key 'peer_address': '(ADDRESS=(PROTOCOL=ip...' is not (ADDRESS="},
    };
    const TestRegistry empty;
    const TestRegistry made("made", {"VORN.CUR", "VORN.SEC"});
    for (const Case& c : table) {
        const bool names = c.conf.find("cluster_registry") != std::string::npos;
        writeFile(conf, "node_name = alpha\nlog_dir = log\n" + c.conf +
                            (names ? "" : "cluster_registry = dir:none\n"));
        const std::string output =
            run("env -i VORN_NODE_CONF=" + conf + c.home + " " + program + " " + c.argument);
        EXPECT_TRUE(output.starts_with("vornd: " + c.output)) << output;
        EXPECT_TRUE(output.ends_with("\nstatus 1")) << output;
        EXPECT_EQ(output.find('\n'), output.rfind('\n')) << output;
    }
}

} // namespace
