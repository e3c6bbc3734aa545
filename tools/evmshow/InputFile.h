#pragma once

#include "tools/evmshow/RecordFeed.h"

#include <sys/stat.h>

#include <stdexcept>
#include <string>

namespace evmshow {

/// A file cannot be read: what and why.
class ReadError : public std::runtime_error {
public:
    ReadError(const std::string& subject, int error);
    ReadError(const std::string& subject, const std::string& reason);
};

/// A descriptor that is closed with its owner.
class Descriptor {
public:
    explicit Descriptor(int fd = -1) : m_fd(fd) {}
    ~Descriptor();
    Descriptor(Descriptor&& other) noexcept : m_fd(other.release()) {}
    Descriptor& operator=(Descriptor&& other) noexcept;

    [[nodiscard]] int get() const { return m_fd; }

private:
    int release();

    int m_fd;
};

/// A file, pipe or terminal to read from, beginning where it stands. A regular file is read by
/// offsets, so that bytes can be read again, and its length may change at any time.
class InputFile {
public:
    /// Opens a file; throws ReadError.
    explicit InputFile(const std::string& name);
    static InputFile standardInput();

    /// Reads once into the feed; false at the end, of a regular file the present one. Throws
    /// ReadError, or Interrupted.
    bool readInto(RecordFeed& feed);

    [[nodiscard]] const std::string& name() const { return m_name; }
    [[nodiscard]] int descriptor() const { return m_fd.get(); }
    [[nodiscard]] bool isRegular() const { return m_regular; }
    /// What the system says about the file now.
    [[nodiscard]] struct stat status() const;

private:
    InputFile(std::string name, Descriptor fd);

    std::string m_name;
    Descriptor m_fd;
    bool m_regular = false;
    off_t m_start = 0;
};

} // namespace evmshow
