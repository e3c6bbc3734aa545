#pragma once

#include "platform/include/threads.h"

#include <map>
#include <string>

namespace TAV {

class Socket;

/// The peer connections in progress, by node: when a node fails, another thread can end what is
/// blocked on them. The table borrows its sockets; whoever made one takes it out and deletes it.
/// Thread-safe.
class OpenConns {
public:
    static void addNewConn(const std::string& node, Socket* socket);
    /// Takes the socket out; nothing when the table does not hold it.
    static void deleteStaleConn(const std::string& node, Socket* socket);
    /// Interrupts every connection to the node and takes it out. Never blocks on a connection: the
    /// thread that uses it sees its wait, send or receive end, and deletes it.
    static void deleteFailedNodeConns(const std::string& node);

    static std::multimap<std::string, Socket*>& myconns(); ///< only under s_mapmutex
    static cls_thrIMx s_mapmutex;
};

} // namespace TAV
