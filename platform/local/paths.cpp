#include "platform/include/paths.h"

#include <unistd.h>

#include <cerrno>
#include <cstdarg>
#include <cstring>
#include <string_view>

namespace {

/// A path composed in a caller's buffer; a component that is empty or does not fit fails it.
class PathBuffer {
public:
    PathBuffer(char* buffer, std::size_t size)
        : m_buffer(buffer), m_size(size), m_failed(buffer == nullptr || size == 0) {}

    void add_component(const char* component) {
        if (component == nullptr || *component == '\0') {
            m_failed = true;
            return;
        }
        if (m_length != 0) append("/");
        append(component);
    }

    void append(std::string_view text) {
        if (m_failed || text.size() >= m_size - m_length) {
            m_failed = true;
            return;
        }
        std::memcpy(m_buffer + m_length, text.data(), text.size());
        m_length += text.size();
    }

    /// Terminates the buffer, which is empty after a failure; 0 on success.
    int finish() {
        if (m_buffer != nullptr && m_size != 0) m_buffer[m_failed ? 0 : m_length] = '\0';
        return m_failed ? 1 : 0;
    }

private:
    char* m_buffer;
    std::size_t m_size;
    std::size_t m_length = 0;
    bool m_failed;
};

} // namespace

int clsp_addToPath(char* buffer, std::size_t size, const char* first, ...) {
    PathBuffer path(buffer, size);
    path.add_component(first);
    std::va_list components;
    va_start(components, first);
    const char* next = first;
    while (next != nullptr) {
        next = va_arg(components, const char*);
        if (next != nullptr) path.add_component(next);
    }
    va_end(components);
    return path.finish();
}

int clsp_getFile(char* buffer, std::size_t size, const char* directory, const char* name,
                 const char* extension) {
    PathBuffer path(buffer, size);
    path.add_component(directory);
    path.add_component(name);
    if (extension != nullptr && *extension != '\0') {
        path.append(".");
        path.append(extension);
    }
    return path.finish();
}

int clsp_readStdin(char* buffer, int size) {
    if (buffer == nullptr || size <= 0) return -1;
    const auto room = static_cast<std::size_t>(size) - 1;
    std::size_t length = 0;
    bool failed = false;
    while (length < room) {
        const ssize_t count = read(STDIN_FILENO, buffer + length, room - length);
        if (count < 0 && errno == EINTR) continue;
        failed = count < 0;
        if (count <= 0) break;
        length += static_cast<std::size_t>(count);
    }
    buffer[length] = '\0';
    return failed ? -1 : static_cast<int>(length);
}
