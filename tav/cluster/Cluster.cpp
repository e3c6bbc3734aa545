#include "tav/cluster/Cluster.h"

#include "platform/include/node_config.h"

#include <algorithm>

namespace TAV {

namespace {

constexpr std::size_t NODE_NAME_SIZE = 512;

} // namespace

ClusterException::ClusterException(const std::string& text, const char* file, int line)
    : cls::Exception(cls::raiseText(text, file, line)) {}

std::string ClusterException::className() const {
    return "ClusterException";
}

std::string Cluster::ToShortAndLower(const std::string& name) {
    std::string shortName = name.substr(0, name.find('.'));
    std::transform(shortName.begin(), shortName.end(), shortName.begin(), [](char byte) {
        return byte >= 'A' && byte <= 'Z' ? static_cast<char>(byte - 'A' + 'a') : byte;
    });
    return shortName;
}

std::string Cluster::getLocalhost() {
    char buffer[NODE_NAME_SIZE] = {};
    if (clsz_getnodenm(buffer, sizeof buffer) != 0)
        throw ClusterException("clsz getnodename failed");
    std::string name = ToShortAndLower(buffer);
    if (name.empty()) throw ClusterException("ToShortAndLower returned NULL name");
    return name;
}

int Cluster::getId(const std::string& name) {
    const std::string shortName = ToShortAndLower(name);
    if (const node_config* const config = node_config_get())
        for (const auto& [number, node] : config->nodes)
            if (node == shortName) return number;
    throw ClusterException("cluinfo(memberid) failed for " + name);
}

std::string Cluster::getMemberId(const std::string& name) {
    return std::to_string(getId(name));
}

} // namespace TAV
