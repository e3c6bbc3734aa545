#include "platform/local/endpoint_file.h"

#include "platform/local/socket_address.h"

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>

#include <cerrno>

namespace platform {

namespace {

constexpr mode_t FOLDER_MODE = 0755;
constexpr mode_t SOCKET_MODE = 0666; ///< who may talk is decided by the peer's identity
constexpr mode_t LOCK_MODE = 0600;   ///< others must not be able to hold the name

int create_folder(const std::string& path) {
    // The mode is set apart: a process may run under any umask.
    if (mkdir(path.c_str(), FOLDER_MODE) == 0) return chmod(path.c_str(), FOLDER_MODE);
    return errno == EEXIST ? 0 : -1;
}

/// Whether a listener answers at the address. Anything but a plain refusal counts as life.
bool is_alive(const SocketAddress& address) {
    const Descriptor probe(socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0));
    if (!probe) return true;
    return connect(probe.get(), address.get(), address.length) == 0 ||
           (errno != ECONNREFUSED && errno != ENOENT);
}

bool is_socket(const std::string& path) {
    struct stat status {};
    return lstat(path.c_str(), &status) == 0 && S_ISSOCK(status.st_mode);
}

} // namespace

int EndpointFile::bind(int socket, const std::string& runtime_dir, std::string_view key) {
    const std::lock_guard guard(m_mutex);
    std::string path;
    if (const int result = ipc_socket_path(runtime_dir, key, path); result != CLSC_OK)
        return result;
    if (create_folder(runtime_dir) != 0) return clsc_result_of(errno, CLSC_REFUSED);
    int result = lock(path);
    if (result == CLSC_OK) result = bind_or_replace(socket, path);
    if (result == CLSC_OK) result = note_identity(path);
    if (result != CLSC_OK) m_lock.reset();
    return result;
}

int EndpointFile::lock(const std::string& path) {
    const std::string name = path + ".lock";
    m_lock.reset(open(name.c_str(), O_RDWR | O_CREAT | O_CLOEXEC | O_NOFOLLOW, LOCK_MODE));
    if (!m_lock) return clsc_result_of(errno, CLSC_REFUSED);
    while (flock(m_lock.get(), LOCK_EX | LOCK_NB) != 0) {
        if (errno == EWOULDBLOCK) return CLSC_INUSE;
        if (errno != EINTR) return clsc_result_of(errno, CLSC_REFUSED);
    }
    return CLSC_OK;
}

int EndpointFile::bind_or_replace(int socket, const std::string& path) {
    const SocketAddress address = unix_address(path);
    if (::bind(socket, address.get(), address.length) == 0) return CLSC_OK;
    if (errno != EADDRINUSE) return clsc_result_of(errno, CLSC_REFUSED);
    // What is no socket was not left by a predecessor and is not ours to remove.
    if (!is_socket(path)) return CLSC_REFUSED;
    if (is_alive(address)) return CLSC_INUSE;
    if (unlink(path.c_str()) != 0 && errno != ENOENT) return CLSC_REFUSED;
    if (::bind(socket, address.get(), address.length) == 0) return CLSC_OK;
    return errno == EADDRINUSE ? CLSC_INUSE : clsc_result_of(errno, CLSC_REFUSED);
}

/// The mode is set before anybody can connect, as the socket does not listen yet.
int EndpointFile::note_identity(const std::string& path) {
    struct stat status {};
    if (chmod(path.c_str(), SOCKET_MODE) != 0 || lstat(path.c_str(), &status) != 0)
        return clsc_result_of(errno, CLSC_REFUSED);
    m_path = path;
    m_device = status.st_dev;
    m_inode = status.st_ino;
    return CLSC_OK;
}

void EndpointFile::remove() {
    const std::lock_guard guard(m_mutex);
    struct stat status {};
    if (!m_path.empty() && lstat(m_path.c_str(), &status) == 0 && status.st_dev == m_device &&
        status.st_ino == m_inode)
        unlink(m_path.c_str());
    m_path.clear();
    m_lock.reset();
}

} // namespace platform
