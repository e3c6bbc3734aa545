#pragma once

#include "daemons/vornd/StatusService.h"
#include "platform/include/clss.h"

#include <chrono>
#include <memory>
#include <optional>
#include <string>

struct node_config;

namespace vornd {

/// This node as a member of its cluster, from construction to release(), and the other members as
/// they come and go. Used by one thread at a time.
class Membership {
public:
    /// Throws StartError when the node cannot become a member.
    explicit Membership(const node_config& config);
    ~Membership();
    Membership(const Membership&) = delete;
    Membership& operator=(const Membership&) = delete;

    /// The nodes that are up, once they differ from those that were told last (at first: at once);
    /// nothing when the time is over.
    std::optional<Members> wait(std::chrono::milliseconds time);
    /// Ends this node's membership; other nodes see it at once. May be called twice, and while
    /// another thread waits.
    void release();

private:
    struct Release {
        void operator()(clss_member* member) const { clss_member_release(member); }
        void operator()(clss_watch* watch) const { clss_watch_close(watch); }
    };

    const node_config& m_config;
    std::unique_ptr<clss_member, Release> m_member;
    std::unique_ptr<clss_watch, Release> m_watch;
};

/// A lock that one process of the cluster has at a time, held from construction to destruction when
/// it could be had in time. The system takes it back from a process that dies.
class ClusterLock {
public:
    ClusterLock(const char* name, std::chrono::milliseconds patience);
    ~ClusterLock();
    ClusterLock(const ClusterLock&) = delete;
    ClusterLock& operator=(const ClusterLock&) = delete;

    [[nodiscard]] bool isHeld() const { return m_status == CLSS_OK; }
    /// Why it is not held.
    [[nodiscard]] std::string reason() const;

private:
    const std::string m_name;
    int m_status;
};

} // namespace vornd
