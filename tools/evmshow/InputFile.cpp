#include "tools/evmshow/InputFile.h"

#include "tools/evmshow/Interruption.h"

#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <utility>

namespace evmshow {

ReadError::ReadError(const std::string& subject, int error)
    : ReadError(subject, std::string(std::strerror(error))) {}

ReadError::ReadError(const std::string& subject, const std::string& reason)
    : std::runtime_error(subject + ": " + reason) {}

Descriptor::~Descriptor() {
    if (m_fd >= 0) close(m_fd);
}

Descriptor& Descriptor::operator=(Descriptor&& other) noexcept {
    Descriptor old(std::exchange(m_fd, other.release()));
    return *this;
}

int Descriptor::release() {
    return std::exchange(m_fd, -1);
}

InputFile::InputFile(const std::string& name)
    : InputFile(name, Descriptor(open(name.c_str(), O_RDONLY | O_CLOEXEC))) {}

InputFile InputFile::standardInput() {
    return {"standard input", Descriptor(fcntl(STDIN_FILENO, F_DUPFD_CLOEXEC, STDERR_FILENO + 1))};
}

InputFile::InputFile(std::string name, Descriptor fd)
    : m_name(std::move(name)), m_fd(std::move(fd)) {
    if (m_fd.get() < 0) throw ReadError(m_name, errno);
    m_regular = S_ISREG(status().st_mode);
    if (!m_regular) return;
    m_start = std::max<off_t>(lseek(m_fd.get(), 0, SEEK_CUR), 0);
    posix_fadvise(m_fd.get(), 0, 0, POSIX_FADV_SEQUENTIAL);
}

bool InputFile::readInto(RecordFeed& feed) {
    const std::span<std::byte> room = feed.room();
    while (true) {
        const off_t offset = m_start + static_cast<off_t>(feed.givenUpTo());
        const ssize_t count = m_regular ? pread(m_fd.get(), room.data(), room.size(), offset)
                                        : read(m_fd.get(), room.data(), room.size());
        if (count >= 0) {
            feed.filled(static_cast<std::size_t>(count));
            return count != 0;
        }
        if (errno != EINTR) throw ReadError(m_name, errno);
        if (interruptionRequested()) throw Interrupted();
    }
}

struct stat InputFile::status() const {
    struct stat status {};
    if (fstat(m_fd.get(), &status) != 0) throw ReadError(m_name, errno);
    return status;
}

} // namespace evmshow
