#pragma once

#include "platform/include/clsc.h"
#include "platform/local/descriptor.h"
#include "tests/platform/node_support.h"

/// What the tests of the message layer share: handles that clean up after themselves, addresses of
/// this test's node, and messages as bytes.

struct ReleaseHandle {
    void operator()(clsccon* con) const { clscrelease(con); }
};
using Handle = std::unique_ptr<clsccon, ReleaseHandle>;

clscugblm* shared_area();
std::string ipc(const std::string& key);
std::string endpoint_path(const std::string& key);
unsigned char* bytes(std::string& text);
std::string text_of(const unsigned char* bytes);

/// Each gives the handle, null unless the layer answers CLSC_OK, and the answer.
Handle listen_at(std::string address, int* result = nullptr);
Handle connect_to(std::string address, unsigned options = CLSC_OPT_SYNC, int* result = nullptr,
                  unsigned seconds = CLSC_K60);
Handle answer(const Handle& listener, int* result = nullptr, unsigned mode = CLSC_MODE_WAIT);

/// A bare socket that listens at a path, and one connected to it.
platform::Descriptor raw_listener(const std::string& path, int backlog);
platform::Descriptor raw_client(const std::string& path);

/// A message of `size` bytes that announces `announced` of them.
std::string message(std::size_t size);
std::string message_announcing(std::uint32_t announced, std::size_t size);
int send_message(const Handle& con, const std::string& data);

/// A connection of the layer whose other end is a bare socket.
struct Link {
    explicit Link(const std::string& key);
    void write(const std::string& data) const;
    /// The layer's answer to a receive of `length` bytes into `buffer`, which is filled with "."
    /// and one byte longer.
    int receive(std::size_t length, unsigned flags = CLSC_MODE_WAIT);

    Handle listener;
    platform::Descriptor peer;
    Handle con;
    std::string buffer;
};

void nap(int ms);

/// Milliseconds since it was made.
class Stopwatch {
public:
    [[nodiscard]] std::int64_t ms() const;

private:
    std::chrono::steady_clock::time_point m_start = std::chrono::steady_clock::now();
};
