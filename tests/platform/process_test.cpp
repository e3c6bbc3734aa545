#include "platform/include/environment.h"
#include "platform/include/paths.h"
#include "platform/include/process.h"
#include "tests/platform/node_support.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <climits>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <iostream>
#include <sstream>

namespace {

std::string path(const std::string& name) {
    return test_folder() + "/" + name;
}

/// In a child: points a descriptor at a file of the test folder.
void redirect(int fd, const std::string& name) {
    dup2(open(path(name).c_str(), O_CREAT | O_TRUNC | O_WRONLY | O_CLOEXEC, 0644), fd);
}

/// In a fresh process: hands off a command line whose words stand one a line.
int hand_off_words(const std::string& words) {
    setenv("VORN_NODE_CONF", path("handoff.conf").c_str(), 1);
    signal(SIGCHLD, SIG_IGN); // as a careless parent leaves it
    redirect(STDOUT_FILENO, "output");
    redirect(STDERR_FILENO, "errors");
    std::istringstream lines(words);
    std::vector<std::string> line;
    for (std::string word; std::getline(lines, word);) line.push_back(word);
    std::vector<char*> argv;
    for (std::string& word : line) argv.push_back(word.data());
    argv.push_back(nullptr);
    return vornqstatmai(static_cast<int>(line.size()), argv.data());
}

int hand_off(const std::string& conf, const std::string& words = "vorn_stat\n-u") {
    write_file(path("handoff.conf"), conf);
    return run_in_fresh_process(hand_off_words, words);
}

void write_program(const std::string& name, const std::string& body) {
    write_file(path(name), "#!/bin/bash\n" + body);
    chmod(path(name).c_str(), 0755);
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

TEST(StatusProgram, GetsTheWholeLineAndYieldsItsStatus) {
    write_program("status", "printf '<%s>' \"$@\"; exit 200");
    EXPECT_EQ(hand_off("status_program = status\n", "vorn_stat\na b\n-u\n\n-t"), 200);
    EXPECT_EQ(read_file(path("output")), "<a b><-u><><-t>");
    EXPECT_EQ(read_file(path("errors")), "");
    write_program("killed", "kill -TERM $$");
    EXPECT_EQ(hand_off("status_program = killed\n"), 128 + SIGTERM);
}

TEST(StatusProgram, EveryFaultIsOneLineAndStatusOne) {
    char own[PATH_MAX] = {};
    ASSERT_GT(readlink("/proc/self/exe", own, sizeof own - 1), 0);
    const std::pair<std::string, std::string> cases[] = {
        {"", "node.conf names none (status_program)"},
        {"status_program = nowhere", path("nowhere") + ": No such file or directory"},
        {"nonsense", path("handoff.conf") + ": line 1: key 'nonsense': no '=' follows"},
        {std::string("status_program = ") + own, std::string(own) + ": is this very program"}};
    for (const auto& [conf, reason] : cases) {
        EXPECT_EQ(hand_off(conf), 1) << conf;
        EXPECT_EQ(read_file(path("errors")), "status program: " + reason + "\n");
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

TEST(Paths, FitWholeOrFail) {
    char buffer[16];
    const char* const end = nullptr;
    EXPECT_EQ(clsp_addToPath(buffer, sizeof buffer, "/opt", "vorn", "profi", end), 0);
    EXPECT_STREQ(buffer, "/opt/vorn/profi");
    EXPECT_NE(clsp_addToPath(buffer, sizeof buffer, "/opt", "vorn", "profil", end), 0);
    EXPECT_STREQ(buffer, "");
    EXPECT_EQ(clsp_getFile(buffer, sizeof buffer, ".", "template", "cap"), 0);
    EXPECT_STREQ(buffer, "./template.cap");
    EXPECT_NE(clsp_getFile(buffer, sizeof buffer, "/h", "tab", "0123456789"), 0);
}
