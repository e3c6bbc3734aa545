#include "tests/daemons/daemons_support.h"

#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <filesystem>

/// The program itself, started as an operator or a script starts it.
namespace {

std::string program() {
    const char* const folder = std::getenv("VORN_TEST_BIN");
    return std::string(folder == nullptr ? "." : folder) + "/vornd";
}

class StartupTest : public testing::Test {
protected:
    StartupTest() {
        std::filesystem::remove_all(folder);
        std::filesystem::create_directories(folder + "/home/vorn/profile");
        configure("");
    }
    void configure(const std::string& more) const {
        writeFile(folder + "/node.conf", "node_name = alpha\nlog_dir = log\n" +
                                             (more.empty() ? "runtime_dir = run\n" : more));
    }
    [[nodiscard]] std::string command(const std::string& arguments) const {
        return "exec env -i VORN_NODE_CONF=" + folder + "/node.conf " + arguments;
    }
    [[nodiscard]] std::string served() const {
        return command("ZEL_VORN_HOME=" + folder + "/home " + program());
    }
    /// What a run prints, and "status N" after it.
    static std::string run(const std::string& line) {
        FILE* const output = popen((line + " 2>&1").c_str(), "r");
        char part[1024];
        std::string text;
        while (std::fgets(part, sizeof part, output) != nullptr) text += part;
        return text + "status " + std::to_string(WEXITSTATUS(pclose(output)));
    }
    /// Starts a daemon and waits until it serves; its process.
    [[nodiscard]] pid_t start() const {
        int ends[2];
        if (pipe(ends) != 0) return -1;
        const pid_t child = fork();
        if (child == 0) {
            dup2(ends[1], STDOUT_FILENO);
            execl("/bin/sh", "sh", "-c", served().c_str(), nullptr);
            _exit(127);
        }
        close(ends[1]);
        char line[100] = {};
        EXPECT_GT(read(ends[0], line, sizeof line - 1), 0);
        EXPECT_STREQ(line, "vornd: serving node alpha\n");
        close(ends[0]);
        return child;
    }
    static int end(pid_t process, int number) {
        kill(process, number);
        int status = 0;
        waitpid(process, &status, 0);
        return WIFSIGNALED(status) ? 128 + WTERMSIG(status) : WEXITSTATUS(status);
    }

    const std::string folder = testFolder() + "/startup";
    const std::string endpoint = folder + "/run/VORND_UI_SOCKET.alpha";
};

TEST_F(StartupTest, TellsInOneLineWhyItCannotServe) {
    EXPECT_EQ(run(command(program())),
              "vornd: ZEL_VORN_HOME is not set; set it to the installation home\nstatus 1");
    EXPECT_EQ(run(served() + " --background"),
              "vornd: it takes no arguments; see vornd --help\nstatus 1");
    EXPECT_TRUE(run(served() + " --help").starts_with("Usage:  vornd [--help]\n"));
    configure("colour = red\n");
    const std::string wrong = run(served());
    EXPECT_TRUE(wrong.starts_with("vornd: " + folder + "/node.conf: line 3: key 'colour': "));
    EXPECT_TRUE(wrong.ends_with("\nstatus 1"));
    configure("runtime_dir = node.conf\n");
    EXPECT_EQ(run(served()), "vornd: cannot listen in runtime_dir " + folder +
                                 "/node.conf: Not a directory; make it writable or set another "
                                 "one in node.conf\nstatus 1");
    configure("runtime_dir = " + std::string(120, 'x') + "\n");
    EXPECT_TRUE(run(served()).ends_with(
        "is too long for a socket; set a shorter one in node.conf\nstatus 1"));
}

TEST_F(StartupTest, TakesAStaleEndpointOverAndLeavesALiveOneAlone) {
    const pid_t killed = start();
    EXPECT_EQ(end(killed, SIGKILL), 128 + SIGKILL);
    EXPECT_TRUE(std::filesystem::exists(endpoint));
    const pid_t successor = start();
    EXPECT_EQ(run(served()), "vornd: another vornd serves this node; stop it first\nstatus 1");
    kill(successor, SIGHUP);
    EXPECT_TRUE(std::filesystem::exists(endpoint));
    EXPECT_EQ(end(successor, SIGTERM), 0);
    EXPECT_FALSE(std::filesystem::exists(endpoint));
    EXPECT_EQ(end(start(), SIGINT), 0);
}

} // namespace
