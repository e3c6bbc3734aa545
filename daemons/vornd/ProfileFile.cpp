#include "daemons/vornd/ProfileFile.h"

#include "daemons/vornd/DaemonLog.h"
#include "daemons/vornd/Descriptor.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>

namespace vornd {

namespace {

/// Reads up to `content.size()` bytes and cuts `content` to what came; the error number.
int readAll(int descriptor, std::string& content) {
    std::size_t used = 0;
    while (used < content.size()) {
        const ssize_t count = ::read(descriptor, content.data() + used, content.size() - used);
        if (count == 0) break;
        if (count > 0)
            used += static_cast<std::size_t>(count);
        else if (errno != EINTR)
            return errno;
    }
    content.resize(used);
    return 0;
}

/// The reason why the content cannot be had, empty when it can.
std::string contentOf(const std::string& path, std::string& content) {
    // Neither a pipe without a writer nor a terminal may make the reader wait.
    const Descriptor file(open(path.c_str(), O_RDONLY | O_NONBLOCK | O_NOCTTY | O_CLOEXEC));
    struct stat status {};
    if (file.get() < 0 || fstat(file.get(), &status) != 0)
        return "cannot be read: " + systemError(errno);
    if (!S_ISREG(status.st_mode)) return "not a regular file";
    content.resize(MAX_PROFILE_SIZE + 1);
    if (const int error = readAll(file.get(), content); error != 0)
        return "cannot be read: " + systemError(error);
    if (content.size() <= MAX_PROFILE_SIZE) return {};
    return "larger than " + std::to_string(MAX_PROFILE_SIZE) + " bytes";
}

} // namespace

bool readProfileFile(const std::string& path, Resource& resource, ProfileFault& fault) {
    std::string content;
    fault = ProfileFault{0, contentOf(path, content)};
    return fault.reason.empty() && parseProfile(content, resource, fault);
}

} // namespace vornd
