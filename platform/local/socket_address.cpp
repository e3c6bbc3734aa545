#include "platform/local/socket_address.h"

#include "platform/include/node_config.h"

#include <netdb.h>
#include <netinet/in.h>
#include <sys/un.h>

#include <array>
#include <cerrno>
#include <cstddef>
#include <cstring>
#include <memory>

namespace platform {

namespace {

constexpr std::size_t PATH_CAPACITY = sizeof(sockaddr_un::sun_path) - 1;

int resolve_ipc(const clsc_address& address, std::vector<SocketAddress>& result) {
    const node_config* const config = node_config_get();
    if (config == nullptr) return CLSC_REFUSED;
    std::string path;
    const int status = ipc_socket_path(config->runtime_dir, address.key, path);
    if (status == CLSC_OK) result.push_back(unix_address(path));
    return status;
}

int result_of_lookup(int status) {
    if (status == EAI_SYSTEM) return clsc_result_of(errno, CLSC_REFUSED);
    return status == EAI_MEMORY ? CLSC_FATAL : CLSC_REFUSED;
}

int resolve_tcp(const clsc_address& address, bool passive, std::vector<SocketAddress>& result) {
    if (address.port == 0 && !passive) return CLSC_BADADDR;
    addrinfo hints{};
    hints.ai_socktype = SOCK_STREAM;
    hints.ai_flags = AI_NUMERICSERV | (passive ? AI_PASSIVE : 0);
    addrinfo* first = nullptr;
    const int status =
        getaddrinfo(address.host.c_str(), std::to_string(address.port).c_str(), &hints, &first);
    if (status != 0) return result_of_lookup(status);
    const std::unique_ptr<addrinfo, decltype(&freeaddrinfo)> owned(first, freeaddrinfo);
    for (const addrinfo* entry = first; entry != nullptr; entry = entry->ai_next) {
        SocketAddress next;
        next.length = entry->ai_addrlen;
        std::memcpy(&next.storage, entry->ai_addr, entry->ai_addrlen);
        result.push_back(next);
    }
    return result.empty() ? CLSC_REFUSED : CLSC_OK;
}

/// The key is the last part of the path; an unnamed end has an empty one.
std::string ipc_string(const SocketAddress& address) {
    sockaddr_un name{};
    std::memcpy(&name, &address.storage, sizeof name);
    const std::size_t length = address.length - offsetof(sockaddr_un, sun_path);
    const std::string_view path(name.sun_path, strnlen(name.sun_path, length));
    const std::string_view key = path.substr(path.rfind('/') + 1);
    return "(ADDRESS=(PROTOCOL=ipc)(KEY=" + std::string(key) + "))";
}

std::string tcp_string(const SocketAddress& address) {
    std::array<char, NI_MAXHOST> host{};
    std::array<char, NI_MAXSERV> port{};
    const int status = getnameinfo(address.get(), address.length, host.data(), host.size(),
                                   port.data(), port.size(), NI_NUMERICHOST | NI_NUMERICSERV);
    if (status != 0) return {};
    return std::string("(ADDRESS=(PROTOCOL=tcp)(HOST=") + host.data() + ")(PORT=" + port.data() +
           "))";
}

} // namespace

int clsc_result_of(int error, int otherwise) {
    const bool exhausted =
        error == EMFILE || error == ENFILE || error == ENOMEM || error == ENOBUFS;
    return exhausted ? CLSC_FATAL : otherwise;
}

SocketAddress unix_address(const std::string& path) {
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    std::memcpy(address.sun_path, path.c_str(), path.size() + 1);
    SocketAddress result;
    result.length = static_cast<socklen_t>(offsetof(sockaddr_un, sun_path) + path.size() + 1);
    std::memcpy(&result.storage, &address, sizeof address);
    return result;
}

int ipc_socket_path(std::string_view runtime_dir, std::string_view key, std::string& path) {
    path.assign(runtime_dir).append("/").append(key);
    return path.size() <= PATH_CAPACITY ? CLSC_OK : CLSC_BADADDR;
}

int resolve(const clsc_address& address, bool passive, std::vector<SocketAddress>& result) {
    result.clear();
    return address.proto == clsc_address::protocol::ipc ? resolve_ipc(address, result)
                                                        : resolve_tcp(address, passive, result);
}

int decode_address(const unsigned char* text, clsc_address& address) {
    if (text == nullptr) return CLSC_BADADDR;
    const char* const begin = static_cast<const char*>(static_cast<const void*>(text));
    const std::string_view whole(begin, strnlen(begin, CLSC_ADDRESS_SIZE));
    return clsc_parse_address(whole, address) ? CLSC_OK : CLSC_BADADDR;
}

std::string connect_string(int fd, bool own) {
    SocketAddress address;
    address.length = sizeof address.storage;
    auto* const place = static_cast<sockaddr*>(static_cast<void*>(&address.storage));
    const int status =
        own ? getsockname(fd, place, &address.length) : getpeername(fd, place, &address.length);
    if (status != 0) return {};
    return address.family() == AF_UNIX ? ipc_string(address) : tcp_string(address);
}

} // namespace platform
