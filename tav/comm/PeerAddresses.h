#pragma once

#include "platform/include/threads.h"

#include <map>
#include <string>

namespace TAV {

/// Connect strings of the daemons' end-to-end endpoints by node, kept until a connection made with
/// one fails. Guarded by the mutex beside it.
std::map<std::string, std::string>& hostportmap();
extern cls_thrIMx s_hostportmutex;

/// The node's connect string, kept or read from the registry; false when the registry has none.
/// Thread-safe.
bool findPeerAddress(const std::string& node, std::string& address);
/// The same, but the registry is asked in any case.
bool refreshPeerAddress(const std::string& node, std::string& address);
/// The next request to the node asks the registry.
void forgetPeerAddress(const std::string& node);

} // namespace TAV
