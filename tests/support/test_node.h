#pragma once

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <atomic>
#include <cerrno>
#include <chrono>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <functional>
#include <iterator>
#include <map>
#include <memory>
#include <sstream>
#include <string>
#include <string_view>
#include <thread>
#include <utility>
#include <vector>

/// What the tests of many areas share: the node that a test program runs as, files, children and
/// threads, and the standard headers that nearly every test needs.

/// A fresh folder that other users may enter.
inline std::string make_folder() {
    std::string name = "/tmp/vorn-tests-XXXXXX";
    if (mkdtemp(name.data()) == nullptr) std::abort();
    std::filesystem::permissions(name, std::filesystem::perms(0755));
    return name;
}

/// The folder of this test program, without a "/" at its end: there from its first use on. The
/// children know it, and end without taking it away.
inline const std::string& test_folder() {
    static const std::string folder = make_folder();
    return folder;
}

/// Writes a whole file, replacing it.
inline void write_file(const std::string& path, std::string_view text) {
    std::ofstream(path, std::ios::binary) << text;
}
/// A whole file; empty when it cannot be read.
inline std::string read_file(const std::string& path) {
    std::ifstream file(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(file), {}};
}
/// A file's lines that hold a text.
inline std::vector<std::string> lines_of(const std::string& path, const std::string& with = "") {
    std::vector<std::string> lines;
    std::ifstream file(path);
    for (std::string line; std::getline(file, line);)
        if (line.find(with) != std::string::npos) lines.push_back(line);
    return lines;
}
/// What this program has logged so far.
inline std::string diagnostic_log() {
    return read_file(test_folder() + "/log/" + program_invocation_short_name + ".log");
}

/// A node.conf of these lines stands in the test folder before the first test; VORN_NODE_CONF names
/// it. The runtime folder is FOLDER/run, the log folder FOLDER/log. The folder goes after the last
/// test.
class TestNode : public testing::Environment {
public:
    TestNode(std::string lines, void (*more)()) : m_lines(std::move(lines)), m_more(more) {}
    void SetUp() override {
        const std::string conf = test_folder() + "/node.conf";
        write_file(conf, "runtime_dir = run\nlog_dir = log\n" + m_lines);
        std::filesystem::create_directory(test_folder() + "/run");
        setenv("VORN_NODE_CONF", conf.c_str(), 1);
        unsetenv("QUORD_CLUSTERNAME");
        m_more();
    }
    void TearDown() override { std::filesystem::remove_all(test_folder()); }

    /// For a constant of a test program: its node, and what else is to be set up. The framework
    /// takes ownership.
    static testing::Environment* of(
        const std::string& lines, void (*more)() = [] {}) {
        return testing::AddGlobalTestEnvironment(std::make_unique<TestNode>(lines, more).release());
    }

private:
    const std::string m_lines;
    void (*const m_more)();
};

/// Compiles a message catalog of lines "number text" for a language of an installation home.
inline void install_catalog(const std::string& home, const std::string& language,
                            const std::string& texts) {
    const std::string folder = home + "/vorn/mesg/" + language;
    std::filesystem::create_directories(folder);
    // A catalog that is in use keeps its file.
    std::filesystem::remove(folder + "/VORN.cat");
    write_file(folder + "/VORN.msg", "$set 1\n" + texts);
    const std::string compile = "cd '" + folder + "' && gencat VORN.cat VORN.msg";
    if (std::system(compile.c_str()) != 0) std::abort();
}

/// Waits for a child: its exit status, 128 + n when signal n ended it, -1 when there is none.
inline int status_of(pid_t child) {
    int status = 0;
    if (child < 0 || waitpid(child, &status, 0) != child) return -1;
    return WIFSIGNALED(status) ? 128 + WTERMSIG(status) : WEXITSTATUS(status);
}
/// Runs `body` in a forked child, which ends with what it returns: status_of() that child. For what
/// cannot be undone: giving up the standard streams, changing the user.
inline int run_in_child(const std::function<int()>& body) {
    const pid_t child = fork();
    if (child == 0) _exit(body());
    return status_of(child);
}

/// Runs `body` on so many threads at once, each with its number.
inline void on_threads(std::size_t count, const std::function<void(std::size_t)>& body) {
    std::vector<std::thread> threads;
    for (std::size_t i = 0; i < count; ++i) threads.emplace_back(body, i);
    for (std::thread& thread : threads) thread.join();
}
