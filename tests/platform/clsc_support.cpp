#include "tests/platform/clsc_support.h"

#include "platform/local/socket_address.h"
#include "tests/platform/node_support.h"

#include <sys/socket.h>

clscugblm* shared_area() {
    static clscugblm* const area = [] {
        clscctx* context = nullptr;
        clscugblm* made = nullptr;
        clscinit(nullptr, nullptr, &context, 2);
        clscugblmini(context, &made, 0);
        return made;
    }();
    return area;
}

std::string ipc(const std::string& key) {
    return "(ADDRESS=(PROTOCOL=ipc)(KEY=" + key + "))";
}

std::string endpoint_path(const std::string& key) {
    return test_folder() + "/run/" + key;
}

unsigned char* bytes(std::string& text) {
    return static_cast<unsigned char*>(static_cast<void*>(text.data()));
}

std::string text_of(const unsigned char* bytes) {
    return static_cast<const char*>(static_cast<const void*>(bytes));
}

Handle listen_at(std::string address, int* result) {
    clsccon* con = nullptr;
    const int status = clsclisten(shared_area(), bytes(address), &con);
    if (result != nullptr) *result = status;
    return Handle(con);
}

Handle connect_to(std::string address, unsigned options, int* result, unsigned seconds) {
    clsccon* con = nullptr;
    const int status =
        clscconnect(shared_area(), bytes(address), nullptr, &con, 0, 0, 0, 0, seconds, options);
    if (result != nullptr) *result = status;
    return Handle(con);
}

Handle answer(const Handle& listener, int* result, unsigned mode) {
    clsccon* con = nullptr;
    const int status = clscanswer(listener.get(), 0, &con, 0, 0, nullptr, 0, 0, mode);
    if (result != nullptr) *result = status;
    return Handle(con);
}

platform::Descriptor raw_listener(const std::string& path, int backlog) {
    platform::Descriptor listener(socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0));
    const platform::SocketAddress address = platform::unix_address(path);
    std::filesystem::create_directories(std::filesystem::path(path).parent_path());
    unlink(path.c_str());
    EXPECT_EQ(bind(listener.get(), address.get(), address.length), 0) << path;
    EXPECT_EQ(listen(listener.get(), backlog), 0);
    return listener;
}

platform::Descriptor raw_client(const std::string& path) {
    platform::Descriptor client(socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0));
    const platform::SocketAddress address = platform::unix_address(path);
    EXPECT_EQ(connect(client.get(), address.get(), address.length), 0) << path;
    return client;
}

std::string message_announcing(std::uint32_t announced, std::size_t size) {
    std::string result;
    for (std::size_t i = 0; i < size; ++i)
        result += static_cast<char>(i < 4 ? announced >> (8 * i) : i % 251);
    return result;
}

std::string message(std::size_t size) {
    return message_announcing(static_cast<std::uint32_t>(size), size);
}

int send_message(const Handle& con, const std::string& data) {
    std::vector<clscmsgh> copy(data.size() / sizeof(clscmsgh) + 1);
    std::memcpy(copy.data(), data.data(), data.size());
    return clscsend(con.get(), copy.data(), static_cast<unsigned>(data.size()));
}

Link::Link(const std::string& key)
    : listener(listen_at(ipc(key))), peer(raw_client(endpoint_path(key))), con(answer(listener)) {}

void Link::write(const std::string& data) const {
    for (std::size_t done = 0; done < data.size();) {
        const ssize_t count =
            send(peer.get(), data.data() + done, data.size() - done, MSG_NOSIGNAL);
        if (count < 0) return;
        done += static_cast<std::size_t>(count);
    }
}

int Link::receive(std::size_t length, unsigned flags) {
    // Whole headers: the layer's interface names the buffer by its header type.
    std::vector<clscmsgh> place(length / sizeof(clscmsgh) + 1);
    std::memset(place.data(), '.', place.size() * sizeof(clscmsgh));
    const int result =
        clscreceive(con.get(), place.data(), static_cast<unsigned>(length), 0, 0, flags);
    buffer.assign(static_cast<const char*>(static_cast<const void*>(place.data())), length + 1);
    return result;
}

void nap(int ms) {
    std::this_thread::sleep_for(std::chrono::milliseconds(ms));
}

std::int64_t Stopwatch::ms() const {
    const auto span = std::chrono::steady_clock::now() - m_start;
    return std::chrono::duration_cast<std::chrono::milliseconds>(span).count();
}
