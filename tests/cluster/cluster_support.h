#pragma once

#include "tests/support/test_node.h"

/// A cluster in a temporary folder: nodes 1 "alpha", 2 "beta" and 4 "gamma" of 32 slots, which
/// share FOLDER/run. A process reads its configuration once, so all that needs one runs in
/// children.
class TestCluster {
public:
    /// `lines` are added to each node's configuration.
    explicit TestCluster(const std::string& lines = "");
    TestCluster(const TestCluster&) = delete;
    TestCluster& operator=(const TestCluster&) = delete;
    ~TestCluster();

    /// Runs `body` on a node and expects it to end with `status` (128 + n when signal n ends it).
    void run(int node, const std::function<void()>& body, int status = 0) const;
    /// What the diagnostic logs hold, each line from its component on.
    [[nodiscard]] std::vector<std::string> log() const;
    [[nodiscard]] std::string path(const std::string& name) const { return m_folder + "/" + name; }
    /// In a child: makes it a process of the node.
    void enter(int node) const;

private:
    std::string m_folder;
};

/// A child process on a node, which talks with its parent in lines.
class Process {
public:
    class Link {
    public:
        explicit Link(int fd) : m_fd(fd) {}
        void tell(const std::string& line) const;
        /// The next line of the other side, empty when that has ended; fails the test when none
        /// comes.
        [[nodiscard]] std::string hear() const;

    private:
        int m_fd;
    };

    Process(const TestCluster& cluster, int node, const std::function<void(const Link&)>& body);
    Process(const Process&) = delete;
    Process& operator=(const Process&) = delete;
    ~Process();

    [[nodiscard]] const Link& link() const { return m_link; }
    void kill();
    /// Its status, 99 when an expectation failed in it.
    int wait();

private:
    int m_ends[2];
    Link m_link;
    pid_t m_pid;
};

/// The process's service context with locks, made on first use.
struct clsssctx;
clsssctx* service();
/// A lock name as the service takes it.
const unsigned char* bytes(const std::string& text);
