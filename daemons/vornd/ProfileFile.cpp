#include "daemons/vornd/ProfileFile.h"

#include "daemons/vornd/DaemonLog.h"

#include <dirent.h>
#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <memory>

namespace vornd {

namespace {

constexpr std::int64_t NS_PER_S = 1'000'000'000;

struct CloseStream {
    void operator()(DIR* stream) const { closedir(stream); }
};
using Stream = std::unique_ptr<DIR, CloseStream>;

class Descriptor {
public:
    explicit Descriptor(int number) : m_number(number) {}
    ~Descriptor() {
        if (m_number >= 0) close(m_number);
    }
    Descriptor(const Descriptor&) = delete;
    Descriptor& operator=(const Descriptor&) = delete;
    [[nodiscard]] int get() const { return m_number; }

private:
    int m_number;
};

FileStamp stampOf(const struct stat& status) {
    return {status.st_dev, status.st_ino, status.st_size,
            status.st_mtim.tv_sec * NS_PER_S + status.st_mtim.tv_nsec,
            status.st_ctim.tv_sec * NS_PER_S + status.st_ctim.tv_nsec};
}

Folder::Outcome refuse(std::string& reason, const std::string& text) {
    reason = text;
    return Folder::Outcome::refused;
}

Folder::Outcome failed(std::string& reason, int error) {
    if (error == ENOENT) return Folder::Outcome::absent;
    return refuse(reason, "cannot be read: " + systemError(error));
}

bool bears(int descriptor, const FileStamp& stamp) {
    struct stat status {};
    return fstat(descriptor, &status) == 0 && S_ISREG(status.st_mode) && stampOf(status) == stamp;
}

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

bool isWanted(const std::string& name, const std::string& extension) {
    return !name.starts_with('.') && name.ends_with('.' + extension);
}

} // namespace

Folder::Folder(const std::string& path, int& error)
    : m_descriptor(open(path.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC)) {
    error = m_descriptor < 0 ? errno : 0;
}

Folder::~Folder() {
    if (m_descriptor >= 0) close(m_descriptor);
}

std::optional<std::vector<std::string>> Folder::list(const std::string& extension) const {
    const int copy = openat(m_descriptor, ".", O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    if (copy < 0) return std::nullopt;
    const Stream stream(fdopendir(copy));
    if (stream == nullptr) {
        close(copy);
        return std::nullopt;
    }
    std::vector<std::string> names;
    while (true) {
        errno = 0;
        const dirent* const entry = readdir(stream.get());
        if (entry == nullptr) break;
        std::string name = entry->d_name;
        if (isWanted(name, extension)) names.push_back(std::move(name));
    }
    if (errno != 0) return std::nullopt;
    std::sort(names.begin(), names.end());
    return names;
}

Folder::Outcome Folder::look(const std::string& name, FileStamp& stamp, std::string& reason) const {
    struct stat status {};
    stamp = FileStamp();
    if (fstatat(m_descriptor, name.c_str(), &status, AT_SYMLINK_NOFOLLOW) != 0)
        return failed(reason, errno);
    stamp = stampOf(status);
    if (!S_ISREG(status.st_mode)) return refuse(reason, "not a regular file");
    if (stamp.size > static_cast<off_t>(MAX_PROFILE_SIZE))
        return refuse(reason, "larger than " + std::to_string(MAX_PROFILE_SIZE) + " bytes");
    return Outcome::done;
}

Folder::Outcome Folder::read(const std::string& name, const FileStamp& stamp, std::string& content,
                             std::string& reason) const {
    // Whatever has taken the file's place since it was looked at must not make the daemon wait.
    constexpr int flags = O_RDONLY | O_NOFOLLOW | O_NONBLOCK | O_NOCTTY | O_CLOEXEC;
    const Descriptor file(openat(m_descriptor, name.c_str(), flags));
    if (file.get() < 0) return failed(reason, errno);
    if (!bears(file.get(), stamp)) return Outcome::changing;
    content.resize(static_cast<std::size_t>(stamp.size) + 1);
    if (const int error = readAll(file.get(), content); error != 0) return failed(reason, error);
    const bool whole = content.size() == static_cast<std::size_t>(stamp.size);
    return whole && bears(file.get(), stamp) ? Outcome::done : Outcome::changing;
}

namespace {

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
