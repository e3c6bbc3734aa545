#include "tav/comm/InetAddress.h"

#include "platform/include/node_config.h"
#include "tav/comm/CommException.h"

#include <netdb.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <ostream>
#include <system_error>

namespace TAV {

namespace {

constexpr std::size_t NODE_NAME_SIZE = 512;

std::string nodeName(const char* what) {
    char buffer[NODE_NAME_SIZE] = {};
    errno = 0;
    if (clsz_getnodenm(buffer, sizeof buffer) == 0) return buffer;
    raiseAs<UnknownHostException>(what + std::generic_category().message(errno));
}

} // namespace

InetAddress::InetAddress(const hostent* entry) {
    if (entry == nullptr) return;
    if (entry->h_name != nullptr) m_fqdn = entry->h_name;
    if (entry->h_addrtype != AF_INET || entry->h_length != static_cast<int>(sizeof(Address)))
        return;
    if (entry->h_addr_list == nullptr || entry->h_addr_list[0] == nullptr) return;
    std::memcpy(m_address.emplace().data(), entry->h_addr_list[0], sizeof(Address));
}

std::string InetAddress::getLocalHostName() {
    return nodeName("Local host lookup: ");
}

std::string InetAddress::getLocalNodeName() {
    return nodeName("Local nodename lookup: ");
}

std::string InetAddress::getHostName() const {
    return m_fqdn.substr(0, m_fqdn.find('.'));
}

std::string InetAddress::getDomain() const {
    const std::size_t dot = m_fqdn.find('.');
    return dot == std::string::npos ? std::string() : m_fqdn.substr(dot + 1);
}

const InetAddress::Address* InetAddress::getAddress() const {
    return m_address ? &*m_address : nullptr;
}

bool InetAddress::operator==(const InetAddress& other) const {
    return m_fqdn == other.getHostName();
}

std::ostream& operator<<(std::ostream& out, const InetAddress& address) {
    out << "InetAddress[" << address.getHostName() << ", ";
    if (const InetAddress::Address* const bytes = address.getAddress()) {
        out << int{(*bytes)[0]} << '.' << int{(*bytes)[1]} << '.' << int{(*bytes)[2]} << '.'
            << int{(*bytes)[3]};
    }
    return out << ']';
}

} // namespace TAV
