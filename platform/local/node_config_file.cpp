#include "platform/local/node_config_file.h"

#include "platform/local/descriptor.h"
#include "platform/local/error_text.h"

#include <fcntl.h>
#include <sys/stat.h>

#include <array>
#include <cerrno>
#include <climits>
#include <cstdlib>

namespace {

constexpr const char* DEFAULT_FILE = "/etc/vorn/node.conf";

bool fail(node_config_error& error, int oserror, std::string reason) {
    error.oserror = oserror;
    error.reason = std::move(reason);
    return false;
}

bool fail_system(node_config_error& error, int oserror) {
    return fail(error, oserror, system_error_text(oserror));
}

/// A folder, a device or a pipe in the file's place must be told, neither read nor waited for.
bool check_kind(const struct stat& status, node_config_error& error) {
    if (S_ISDIR(status.st_mode)) return fail_system(error, EISDIR);
    if (!S_ISREG(status.st_mode)) return fail(error, 0, "not a regular file");
    if (status.st_size > static_cast<off_t>(NODE_CONF_MAX_SIZE))
        return fail(error, EFBIG, "longer than " + std::to_string(NODE_CONF_MAX_SIZE) + " bytes");
    return true;
}

/// Reads what the file holds, at most one byte more than it held a moment ago.
bool read_text(int fd, std::size_t size, std::string& text, node_config_error& error) {
    text.resize(size + 1);
    std::size_t length = 0;
    while (length < text.size()) {
        const ssize_t count = read(fd, text.data() + length, text.size() - length);
        if (count < 0 && errno == EINTR) continue;
        if (count < 0) return fail_system(error, errno);
        if (count == 0) break;
        length += static_cast<std::size_t>(count);
    }
    if (length > size) return fail(error, EAGAIN, "changed while it was read");
    text.resize(length);
    return true;
}

bool read_file(const char* path, bool may_be_missing, std::string& text, node_config_error& error) {
    const platform::Descriptor file(open(path, O_RDONLY | O_CLOEXEC | O_NOCTTY | O_NONBLOCK));
    if (!file) return (may_be_missing && errno == ENOENT) || fail_system(error, errno);
    struct stat status {};
    if (fstat(file.get(), &status) != 0) return fail_system(error, errno);
    return check_kind(status, error) &&
           read_text(file.get(), static_cast<std::size_t>(status.st_size), text, error);
}

/// The folder that relative paths start from, absolute so that a later change of the working
/// directory does not move them.
bool folder_of(const std::string& path, std::string& folder, node_config_error& error) {
    const auto slash = path.rfind('/');
    folder = slash == std::string::npos ? "" : path.substr(0, slash + 1);
    if (path.front() == '/') return true;
    std::array<char, PATH_MAX> working{};
    if (getcwd(working.data(), working.size()) == nullptr) return fail_system(error, errno);
    folder = std::string(working.data()) + "/" + folder;
    return true;
}

std::string host_name() {
    std::array<char, HOST_NAME_MAX + 1> name{};
    return gethostname(name.data(), name.size() - 1) == 0 ? name.data() : "";
}

} // namespace

bool node_config_load(node_config& config, node_config_error& error) {
    const char* const named = std::getenv("VORN_NODE_CONF");
    const bool is_named = named != nullptr && *named != '\0';
    const std::string path = is_named ? named : DEFAULT_FILE;
    std::string text;
    std::string folder;
    error = node_config_error();
    const bool loaded = read_file(path.c_str(), !is_named, text, error) &&
                        folder_of(path, folder, error) &&
                        node_config_parse(text, folder, host_name(), config, error);
    error.file = quotable(path, PATH_MAX);
    return loaded;
}
