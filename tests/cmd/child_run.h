#pragma once

#include "tav/msg/tav_ZelCoreCtx.h"
#include "tav/registry/clsgenv.h"

#include <stdlib.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <iostream>
#include <string>

/// What a child process left behind.
struct Outcome {
    int status = -1; ///< exit status, or 128 + the signal that ended it
    std::string out;
    std::string err;
};

/// Runs `body` in a child of its own, whose status is what it returns, and keeps what it prints.
template <class Body>
Outcome run_in_child(Body body) {
    std::cout.flush();
    std::fflush(nullptr);
    std::array<std::FILE*, 2> files{std::tmpfile(), std::tmpfile()};
    const pid_t child = fork();
    if (child == 0) {
        dup2(fileno(files[0]), STDOUT_FILENO);
        dup2(fileno(files[1]), STDERR_FILENO);
        std::exit(body());
    }
    Outcome outcome;
    int status = 0;
    waitpid(child, &status, 0);
    outcome.status = WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
    for (std::size_t i = 0; i < files.size(); ++i) {
        std::string& text = i == 0 ? outcome.out : outcome.err;
        std::rewind(files[i]);
        for (int c = std::getc(files[i]); c != EOF; c = std::getc(files[i]))
            text += static_cast<char>(c);
        std::fclose(files[i]);
    }
    return outcome;
}

/// An installation home of a test's own, with a message catalog made of lines "number text".
class CatalogHome {
public:
    explicit CatalogHome(const std::string& messages) {
        std::string pattern =
            (std::filesystem::temp_directory_path() / "vorn-home-XXXXXX").string();
        m_path = mkdtemp(pattern.data());
        const std::filesystem::path folder = m_path / "vorn/mesg/en";
        std::filesystem::create_directories(folder);
        std::ofstream(folder / "VORN.msg") << "$set 1\n" << messages;
        const std::string compile = "gencat '" + (folder / "VORN.cat").string() + "' '" +
                                    (folder / "VORN.msg").string() + "'";
        if (std::system(compile.c_str()) != 0) std::abort();
    }
    CatalogHome(const CatalogHome&) = delete;
    CatalogHome& operator=(const CatalogHome&) = delete;
    ~CatalogHome() { std::filesystem::remove_all(m_path); }

    /// For a child process: it forgets what catalogs its parent knew.
    void enter() const {
        setenv("LC_ALL", "C", 1);
        clssetzelmarhome(m_path.c_str());
        TAV::ZelCoreCtx::cleanup();
    }

private:
    std::filesystem::path m_path;
};
