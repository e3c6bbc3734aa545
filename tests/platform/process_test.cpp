#include "platform/include/environment.h"
#include "platform/include/home.h"
#include "platform/include/paths.h"
#include "platform/include/process.h"
#include "tests/platform/node_support.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <climits>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <iostream>
#include <sstream>

namespace {

/// In a child: points a descriptor at a file of the test folder.
void redirect(int fd, const std::string& name) {
    const int file = open((test_folder() + "/" + name).c_str(), O_CREAT | O_TRUNC | O_WRONLY, 0644);
    dup2(file, fd);
    close(file);
}

std::string output(const std::string& name) {
    return read_file(test_folder() + "/" + name);
}

/// In a fresh process: hands off a command line whose words stand one a line.
int hand_off_words(const std::string& words) {
    setenv("VORN_NODE_CONF", (test_folder() + "/handoff.conf").c_str(), 1);
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

int hand_off(const std::string& conf, const std::string& words) {
    write_file(test_folder() + "/handoff.conf", conf);
    return run_in_fresh_process(hand_off_words, words);
}

void write_program(const std::string& name, const std::string& body) {
    write_file(test_folder() + "/" + name, "#!/bin/bash\n" + body);
    chmod((test_folder() + "/" + name).c_str(), 0755);
}

} // namespace

TEST(ErrorRecord, TextsAreCutAndTheRestIsZero) {
    slos err;
    std::memset(&err, 'x', sizeof err);
    slos_fill(&err, SLOS_SYSTEM, std::string(33, 'o').c_str(), std::string(13, 'l').c_str(), -7,
              std::string(500, 't').c_str());
    EXPECT_EQ(err.operation, std::string(32, 'o'));
    EXPECT_EQ(err.location, std::string(12, 'l'));
    EXPECT_EQ(err.other, std::string(161, 't'));
    EXPECT_EQ(err.oserror, -7);
    slos_fill(&err, SLOS_SYSTEM, nullptr, "here", 0, nullptr);
    EXPECT_STREQ(err.operation, "");
    EXPECT_TRUE(
        std::all_of(err.other, err.other + sizeof err.other, [](char c) { return c == 0; }));
    slos_fill(nullptr, SLOS_SYSTEM, "a", "b", 0, "c");
}

TEST(Nullify, FlushesFirstAndKeepsTheDescriptorsTaken) {
    EXPECT_EQ(run_in_child([] {
                  redirect(STDOUT_FILENO, "nullified");
                  std::fputs("before ", stdout);
                  std::cout << "this";
                  slos err;
                  if (scls_stdio_nullify(0, &err, SCLS_STDOUT_AND_STDERR) != 0) return 1;
                  std::cout << "after" << std::flush;
                  if (write(STDOUT_FILENO, "after", 5) != 5) return 2;
                  struct stat out {};
                  struct stat error {};
                  fstat(STDOUT_FILENO, &out);
                  fstat(STDERR_FILENO, &error);
                  if (!S_ISCHR(out.st_mode) || out.st_rdev != error.st_rdev) return 3;
                  return scls_stdio_nullify(0, &err, 8) != 0 && err.oserror == EINVAL ? 0 : 4;
              }),
              0);
    EXPECT_EQ(output("nullified"), "before this");
}

TEST(Nullify, WorksWhenAStreamWasClosedBefore) {
    EXPECT_EQ(run_in_child([] {
                  slos err;
                  close(STDOUT_FILENO);
                  if (scls_stdio_nullify(0, &err, SCLS_STDOUT_AND_STDERR) != 0) return 1;
                  const int next = socket(AF_UNIX, SOCK_STREAM, 0);
                  if (next <= STDERR_FILENO) return 2;
                  // The stream itself is inherited by programs, as standard streams are.
                  return fcntl(STDOUT_FILENO, F_GETFD) == 0 ? 0 : 3;
              }),
              0);
}

TEST(Exit, AbnormalEndNeverLooksWell) {
    const auto status = [](int code, int mode) {
        return run_in_child([=]() -> int { scls_exit_fast(code, mode); });
    };
    EXPECT_EQ(status(0, 0), 0);
    EXPECT_EQ(status(5, 0), 5);
    EXPECT_EQ(status(0, 1), 1);
    EXPECT_EQ(status(256, 1), 1);
    EXPECT_EQ(status(5, 1), 5);
}

TEST(StatusProgram, GetsTheWholeLineAndYieldsItsStatus) {
    write_program("status", "printf '<%s>' \"$@\"; exit 200");
    EXPECT_EQ(hand_off("status_program = status\n", "vorn_stat\na b\n-u\n\n-t"), 200);
    EXPECT_EQ(output("output"), "<a b><-u><><-t>");
    EXPECT_EQ(output("errors"), "");
    write_program("killed", "kill -TERM $$");
    EXPECT_EQ(hand_off("status_program = killed\n", "vorn_stat\n-u"), 128 + SIGTERM);
}

TEST(StatusProgram, EveryFaultIsOneLineAndStatusOne) {
    const std::string folder = test_folder();
    EXPECT_EQ(hand_off("", "vorn_stat\n-u"), 1);
    EXPECT_EQ(output("errors"), "status program: node.conf names none (status_program)\n");
    EXPECT_EQ(hand_off("status_program = nowhere\n", "vorn_stat\n-u"), 1);
    EXPECT_EQ(output("errors"),
              "status program: " + folder + "/nowhere: No such file or directory\n");
    EXPECT_EQ(hand_off("nonsense\n", "vorn_stat\n-u"), 1);
    EXPECT_EQ(output("errors"), "status program: " + folder +
                                    "/handoff.conf: line 1: key 'nonsense': no '=' follows\n");
    char own[PATH_MAX] = {};
    ASSERT_GT(readlink("/proc/self/exe", own, sizeof own - 1), 0);
    EXPECT_EQ(hand_off(std::string("status_program = ") + own + "\n", "vorn_stat\n-u"), 1);
    EXPECT_EQ(output("errors"), std::string("status program: ") + own + ": is this very program\n");
}

TEST(Environment, ValuesAreCutToTheAskedLength) {
    char buffer[8];
    std::memset(buffer, 'x', sizeof buffer);
    setenv("VORN_TEST_VALUE", "abcdef", 1);
    EXPECT_EQ(slzgetevar("VORN_TEST_VALUE", buffer, 4, 16), 4);
    EXPECT_STREQ(buffer, "abcd");
    EXPECT_EQ(buffer[5], 'x');
    EXPECT_EQ(slzgetevar("VORN_TEST_VALUE", buffer, 6), 6);
    setenv("VORN_TEST_VALUE", "", 1);
    EXPECT_EQ(slzgetevar("VORN_TEST_VALUE", buffer, 4), 0);
    EXPECT_STREQ(buffer, "");
    EXPECT_EQ(slzgetevar("VORN_TEST_UNSET", buffer, 4), 0);
    EXPECT_EQ(slzgetevar(nullptr, buffer, 4), 0);
}

TEST(Environment, NumbersSaturateAndNothingIsZero) {
    const std::pair<std::string, int> cases[] = {{"", 0},
                                                 {"x", 0},
                                                 {" \t\n42x7", 42},
                                                 {"+7", 7},
                                                 {"-12", -12},
                                                 {"--1", 0},
                                                 {"- 1", 0},
                                                 {"2147483647", INT_MAX},
                                                 {"2147483648", INT_MAX},
                                                 {"-2147483648", INT_MIN},
                                                 {"-2147483649", INT_MIN},
                                                 {std::string(100, '9'), INT_MAX},
                                                 {"0x10", 0},
                                                 {std::string("1\0002", 3), 1}};
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
    EXPECT_NE(clsp_addToPath(buffer, sizeof buffer, "", "vorn", end), 0);
    EXPECT_NE(clsp_addToPath(buffer, sizeof buffer, end), 0);
    EXPECT_EQ(clsp_getFile(buffer, sizeof buffer, ".", "template", "cap"), 0);
    EXPECT_STREQ(buffer, "./template.cap");
    EXPECT_EQ(clsp_getFile(buffer, sizeof buffer, "/h", "tab", ""), 0);
    EXPECT_STREQ(buffer, "/h/tab");
    EXPECT_NE(clsp_getFile(buffer, sizeof buffer, "/h", "tab", "0123456789"), 0);
}

TEST(Paths, StandardInputIsReadToItsEndOrTheBuffer) {
    write_file(test_folder() + "/input", "0123456789");
    EXPECT_EQ(run_in_child([] {
                  char buffer[8];
                  dup2(open((test_folder() + "/input").c_str(), O_RDONLY), STDIN_FILENO);
                  if (clsp_readStdin(buffer, 8) != 7 || std::string(buffer) != "0123456") return 1;
                  if (clsp_readStdin(buffer, 8) != 3 || std::string(buffer) != "789") return 2;
                  close(STDIN_FILENO);
                  return clsp_readStdin(buffer, 8) == -1 && *buffer == '\0' ? 0 : 3;
              }),
              0);
}

TEST(Home, RecordedOneComesBeforeTheEnvironment) {
    const auto body = [](const std::string&) {
        clsehdl* handle = nullptr;
        unsetenv("ZEL_VORN_HOME");
        if (!clse_zelmar_home().empty()) return 1;
        setenv("ZEL_VORN_HOME", "/env", 1);
        if (clse_zelmar_home() != "/env" || clse_init(&handle, nullptr) != 0) return 2;
        if (clse_set_zelmar_home(handle, "") == 0) return 3;
        if (clse_set_zelmar_home(handle, "/set") != 0) return 4;
        clse_close(handle);
        return clse_zelmar_home() == "/set" ? 0 : 5;
    };
    EXPECT_EQ(run_in_fresh_process(body), 0);
}
