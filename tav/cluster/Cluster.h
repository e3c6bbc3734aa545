#pragma once

#include "cppgen/clsException.h"

#include <atomic>
#include <map>
#include <string>

namespace TAV {

/// Raised for every failure to learn something about the cluster. Its text is the failure, a line
/// end and the place of the raise as "(File: unit, line: number)".
class ClusterException : public cls::Exception {
public:
    explicit ClusterException(const std::string& text, const char* file = __builtin_FILE(),
                              int line = __builtin_LINE());
    std::string className() const override;
};

/// The highest member number of the cluster: -1 until it is first needed, then kept.
extern std::atomic<int> s_maxMembers;

/// What this node knows of the cluster's nodes. Node names are compared by their first label in
/// lower case. Every operation may throw ClusterException; all are thread-safe.
class Cluster {
public:
    static constexpr const char* MEMBER_LOCK_PREFIX = "_ZEL_VORN_MEMBER_";
    static constexpr const char* CLUSTER_FAILOVER_LOCK = "_ZEL_VORN_FAILOVER";
    static constexpr const char* VORN_BOOT_LOCK = "_ZEL_VORN_BOOT";

    /// The part before the first ".", in lower case.
    static std::string ToShortAndLower(const std::string& name);
    /// This node's short name; asked anew with every call.
    static std::string getLocalhost();
    /// A node's member number; getMemberId writes it in decimal.
    static int getId(const std::string& name);
    static std::string getMemberId(const std::string& name);
    /// 1 when the node is up, 0 when it is not.
    static int getState(const std::string& name);
    /// Fills in each node's state by its short name; returns the number of member slots.
    static int getMembers(std::map<std::string, int>& members);
    /// Whether this node is the active member with the lowest number.
    static bool amMaster();
    /// The node's name on the private interconnect; the given name when it cannot be told.
    static std::string getInterconnect(const std::string& name);
    /// The name of a member's lock; of this node's when the name is empty.
    static std::string getMemberLockName(const std::string& name);

    /// Keep the record of quorum; `when` is the time of the change in seconds since the epoch.
    static void lostQuorum(long when);
    static void gainedQuorum(long when);
    /// Sleeps until the cluster has held quorum for that many seconds.
    static void sleepWithQuorum(int seconds);
};

} // namespace TAV
