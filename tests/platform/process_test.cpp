#include "platform/include/environment.h"
#include "platform/include/process.h"
#include "tests/platform/node_support.h"

#include <climits>
#include <iostream>

namespace {

std::string path(const std::string& name) {
    return test_folder() + "/" + name;
}

/// In a child: points a descriptor at a file of the test folder.
void redirect(int fd, const std::string& name) {
    dup2(open(path(name).c_str(), O_CREAT | O_TRUNC | O_WRONLY | O_CLOEXEC, 0644), fd);
}

/// In a fresh process: hands a command line off to the program that "handoff.conf" names.
int hand_off(const std::string&) {
    setenv("VORN_NODE_CONF", path("handoff.conf").c_str(), 1);
    signal(SIGCHLD, SIG_IGN); // as a careless parent leaves it
    redirect(STDERR_FILENO, "errors");
    char name[] = "vorn_stat", option[] = "-u";
    char* argv[] = {name, option, nullptr};
    return vornqstatmai(2, argv);
}

} // namespace

TEST(Nullify, FlushesFirstAndKeepsTheDescriptorsTaken) {
    const auto body = [] {
        redirect(STDOUT_FILENO, "nullified");
        std::fputs("before ", stdout);
        std::cout << "this";
        close(STDERR_FILENO); // one that the caller's parent left closed
        slos err;
        if (scls_stdio_nullify(0, &err, SCLS_STDOUT_AND_STDERR) != 0) return 1;
        if (write(STDOUT_FILENO, "after", 5) != 5 || write(STDERR_FILENO, "after", 5) != 5)
            return 2;
        if (dup(STDIN_FILENO) <= STDERR_FILENO) return 3;
        // Programs inherit standard streams.
        return fcntl(STDOUT_FILENO, F_GETFD) + fcntl(STDERR_FILENO, F_GETFD) == 0 ? 0 : 4;
    };
    EXPECT_EQ(run_in_child(body), 0);
    EXPECT_EQ(read_file(path("nullified")), "before this");
}

TEST(StatusProgram, EveryFaultIsOneLineAndStatusOne) {
    char own[PATH_MAX] = {};
    ASSERT_GT(readlink("/proc/self/exe", own, sizeof own - 1), 0);
    const std::pair<std::string, std::string> cases[] = {
        {"status_program = /bin/true", ""},
        {"", "node.conf names none (status_program)"},
        {"status_program = nowhere", path("nowhere") + ": No such file or directory"},
        {"nonsense", path("handoff.conf") + ": line 1: key 'nonsense': no '=' follows"},
        {std::string("status_program = ") + own, std::string(own) + ": is this very program"}};
    for (const auto& [conf, reason] : cases) {
        write_file(path("handoff.conf"), conf);
        EXPECT_EQ(run_in_fresh_process(hand_off), reason.empty() ? 0 : 1) << conf;
        EXPECT_EQ(read_file(path("errors")),
                  reason.empty() ? "" : "status program: " + reason + "\n");
    }
}

TEST(Environment, ValuesAreCutAndNumbersSaturate) {
    char buffer[8];
    std::memset(buffer, 'x', sizeof buffer);
    setenv("VORN_TEST_VALUE", "abcdef", 1);
    EXPECT_EQ(slzgetevar("VORN_TEST_VALUE", buffer, 4, 16), 4);
    EXPECT_STREQ(buffer, "abcd");
    EXPECT_EQ(buffer[5], 'x');
    EXPECT_EQ(slzgetevar("VORN_TEST_UNSET", buffer, 4), 0);
    EXPECT_STREQ(buffer, "");
    const std::pair<std::string, int> cases[] = {
        {"", 0}, {" \t\n42x7", 42}, {"-12", -12}, {"2147483648", INT_MAX}, {"-2147483649", INT_MIN},
    };
    for (const auto& [text, expected] : cases)
        EXPECT_EQ(lcvb24(text.data(), text.size()), expected) << text;
    EXPECT_EQ(lcvb24("123", 2), 12);
}
