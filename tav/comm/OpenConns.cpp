#include "tav/comm/OpenConns.h"

#include "platform/include/immortal.h"
#include "tav/comm/Socket.h"
#include "tav/comm/commLog.h"

#include <algorithm>

namespace TAV {

constinit cls_thrIMx OpenConns::s_mapmutex;

std::multimap<std::string, Socket*>& OpenConns::myconns() {
    static Immortal<std::multimap<std::string, Socket*>> connections;
    return *connections;
}

void OpenConns::addNewConn(const std::string& node, Socket* socket) {
    const StaticLock lock(s_mapmutex);
    myconns().emplace(node, socket);
}

void OpenConns::deleteStaleConn(const std::string& node, Socket* socket) {
    const StaticLock lock(s_mapmutex);
    auto& connections = myconns();
    const auto found =
        std::find_if(connections.lower_bound(node), connections.end(),
                     [socket](const auto& connection) { return connection.second == socket; });
    if (found != connections.end()) connections.erase(found);
}

void OpenConns::deleteFailedNodeConns(const std::string& node) {
    const StaticLock lock(s_mapmutex);
    commTrace(" CLEANUP: Searching for connections to failed node ", node);
    auto& connections = myconns();
    while (true) {
        const auto connection = connections.find(node);
        if (connection == connections.end()) return;
        commTrace(" CLEANUP: Destroying open connection to ", node);
        connection->second->interruptConnection();
        connections.erase(connection);
    }
}

} // namespace TAV
