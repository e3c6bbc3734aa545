#pragma once

#include "tav/msg/tav_ZelCoreCtx.h"
#include "tav/registry/clsgenv.h"

#include <stdlib.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <filesystem>
#include <fstream>
#include <iostream>
#include <iterator>
#include <string>

/// What a child process left behind.
struct Outcome {
    int status = -1; ///< exit status, or 128 + the signal that ended it
    std::string out, err;
};

/// A folder of a test's own.
struct TestFolder {
    TestFolder() { path = mkdtemp(pattern.data()); }
    TestFolder(const TestFolder&) = delete;
    TestFolder& operator=(const TestFolder&) = delete;
    ~TestFolder() { std::filesystem::remove_all(path); }

    std::string pattern = std::filesystem::temp_directory_path() / "vorn-test-XXXXXX";
    std::filesystem::path path;
};

/// Runs `body` in a child of its own, whose status is what it returns, and keeps what it prints.
template <class Body>
Outcome run_in_child(Body body) {
    const TestFolder folder;
    const auto file = [&](const char* name) { return (folder.path / name).string(); };
    const auto content = [&](const char* name) {
        std::ifstream in(file(name));
        return std::string(std::istreambuf_iterator<char>(in), {});
    };
    std::cout.flush();
    std::fflush(nullptr);
    const pid_t child = fork();
    if (child == 0) {
        if (!std::freopen(file("out").c_str(), "w", stdout)) std::abort();
        if (!std::freopen(file("err").c_str(), "w", stderr)) std::abort();
        std::exit(body());
    }
    int status = 0;
    waitpid(child, &status, 0);
    return {WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status), content("out"),
            content("err")};
}

/// An installation home with a message catalog made of lines "number text".
struct CatalogHome : TestFolder {
    explicit CatalogHome(const std::string& messages) {
        const std::filesystem::path mesg = path / "vorn/mesg/en";
        std::filesystem::create_directories(mesg);
        std::ofstream(mesg / "VORN.msg") << "$set 1\n" << messages;
        const std::string compile = "cd '" + mesg.string() + "' && gencat VORN.cat VORN.msg";
        if (std::system(compile.c_str()) != 0) std::abort();
    }
    /// For a child process: it forgets what catalogs its parent knew.
    void enter() const {
        setenv("LC_ALL", "C", 1);
        clssetzelmarhome(path.c_str());
        TAV::ZelCoreCtx::cleanup();
    }
};
