#include "tav/comm/PeerAddresses.h"

#include "platform/include/immortal.h"
#include "tav/comm/commLog.h"
#include "tav/registry/clsgenv.h"
#include "tav/registry/tavzks.h"

namespace TAV {

constinit cls_thrIMx s_hostportmutex;

namespace {

std::string registryKey(const std::string& node) {
    return std::string(TavZKSKeys::CommE2EPort) + TAVRESSP + node;
}

} // namespace

std::map<std::string, std::string>& hostportmap() {
    static Immortal<std::map<std::string, std::string>> addresses;
    return *addresses;
}

bool findPeerAddress(const std::string& node, std::string& address) {
    {
        const StaticLock lock(s_hostportmutex);
        const auto kept = hostportmap().find(node);
        if (kept != hostportmap().end()) {
            address = kept->second;
            commOut(" Using cached E2E port: ", address);
            return true;
        }
    }
    return refreshPeerAddress(node, address);
}

void forgetPeerAddress(const std::string& node) {
    const StaticLock lock(s_hostportmutex);
    hostportmap().erase(node);
}

bool refreshPeerAddress(const std::string& node, std::string& address) {
    forgetPeerAddress(node);
    const std::string key = registryKey(node);
    commOut(" Looking up E2E port from ZKS: ", key);
    char value[CLSGETCONNSTR_SIZE] = {};
    if (clsgetconnstr(key.c_str(), value) != 0) {
        commError(" Unable to read E2E port from zks");
        return false;
    }
    address = value;
    const StaticLock lock(s_hostportmutex);
    hostportmap()[node] = address;
    return true;
}

} // namespace TAV
