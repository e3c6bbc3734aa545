#pragma once

#include "tav/msg/tav_ZelCoreCtx.h"
#include "tav/registry/clsgenv.h"
#include "tests/support/test_node.h"

#include <iostream>

/// What a child process left behind.
struct Outcome {
    int status = -1; ///< exit status, or 128 + the signal that ended it
    std::string out, err;
};

/// A folder of a test's own.
struct TestFolder {
    TestFolder() = default;
    TestFolder(const TestFolder&) = delete;
    TestFolder& operator=(const TestFolder&) = delete;
    ~TestFolder() { std::filesystem::remove_all(path); }

    const std::filesystem::path path = make_folder();
};

/// Runs `body` in a child of its own, whose status is what it returns, and keeps what it prints.
template <class Body>
Outcome outcome_of(Body body) {
    const TestFolder folder;
    const auto file = [&](const char* name) { return (folder.path / name).string(); };
    std::cout.flush();
    std::fflush(nullptr);
    const pid_t child = fork();
    if (child == 0) {
        if (!std::freopen(file("out").c_str(), "w", stdout)) std::abort();
        if (!std::freopen(file("err").c_str(), "w", stderr)) std::abort();
        // The parent's static objects and threads are not this child's to end.
        const int code = body();
        std::cout.flush();
        std::fflush(nullptr);
        _exit(code);
    }
    const int status = status_of(child);
    return {status, read_file(file("out")), read_file(file("err"))};
}

/// An installation home with a message catalog made of lines "number text".
struct CatalogHome : TestFolder {
    explicit CatalogHome(const std::string& messages) { install_catalog(path, "en", messages); }
    /// For a child process: it forgets what catalogs its parent knew.
    void enter() const {
        setenv("LC_ALL", "C", 1);
        clssetzelmarhome(path.c_str());
        TAV::ZelCoreCtx::cleanup();
    }
};
