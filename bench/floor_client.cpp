// The least that any client of the daemon can do: connect, send the request of `vorn_stat` without
// arguments (of `vorn_stat -t` with the argument "table"), receive the reply frame into one buffer,
// and write as many bytes as the command prints. Nothing is decoded.
//
// usage: floor_client SOCKET GROUP OUTPUT_BYTES [table|list]

#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace {

constexpr std::size_t HEADER = 140;
constexpr std::size_t TAG_OFFSET = 56;
constexpr std::size_t BODY_LENGTH_OFFSET = 136;

void putNumber(std::string& out, std::size_t value) {
    for (unsigned shift = 0; shift < 32; shift += 8) {
        out.push_back(static_cast<char>((value >> shift) & 0xFFU));
    }
}

void putText(std::string& out, std::string_view text) {
    putNumber(out, text.size());
    out.append(text);
}

std::string requestFrame(std::string_view form, std::string_view group) {
    using Entry = std::pair<std::string_view, std::string_view>;
    std::vector<Entry> entries{{"CLIENT_PRIMARY_GROUP", group}, {"HOST_TAG", "0"}};
    if (form == "list") entries = {{"CLIENT_PRIMARY_GROUP", group}, {"LIST_TAG", "1"}};
    entries.emplace_back("LOCALE", "");
    if (form.empty()) entries.emplace_back("LONG_TAG", "0");
    entries.emplace_back("QUIET_TAG", "0");
    if (form == "table") entries.emplace_back("TAB_TAG", "1");
    entries.emplace_back("TAV_VORN_LEGACY", "true");
    if (form != "list") entries.emplace_back("VERB_TAG", "0");

    std::string body;
    putNumber(body, entries.size());
    putText(body, "UI_STAT");
    for (const auto& [key, value] : entries) {
        putText(body, key);
        putText(body, "TextMessage");
        putText(body, value);
    }
    std::string frame;
    putNumber(frame, HEADER + body.size());
    frame.append("\x50\x43\0\0\x0c\x01", 6);
    frame.resize(HEADER, '\0');
    frame[52] = 9;
    frame.replace(TAG_OFFSET, 9, "Container");
    std::string length;
    putNumber(length, body.size());
    frame.replace(BODY_LENGTH_OFFSET, 4, length);
    return frame + body;
}

[[noreturn]] void fail(const char* what) {
    std::perror(what);
    std::exit(1);
}

void readAll(int fd, char* out, std::size_t size) {
    while (size > 0) {
        const ssize_t got = read(fd, out, size);
        if (got <= 0) fail("read");
        out += got;
        size -= static_cast<std::size_t>(got);
    }
}

int connectTo(const char* path) {
    const int fd = socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    std::snprintf(address.sun_path, sizeof address.sun_path, "%s", path);
    if (connect(fd, reinterpret_cast<const sockaddr*>(&address), sizeof address) != 0) {
        fail("connect");
    }
    return fd;
}

} // namespace

int main(int argc, char** argv) {
    if (argc < 4) {
        std::fputs("usage: floor_client SOCKET GROUP OUTPUT_BYTES [table|list]\n", stderr);
        return 2;
    }
    const int fd = connectTo(argv[1]);
    const std::string frame = requestFrame(argc > 4 ? argv[4] : "", argv[2]);
    if (write(fd, frame.data(), frame.size()) != static_cast<ssize_t>(frame.size())) fail("write");

    std::uint32_t total = 0;
    readAll(fd, reinterpret_cast<char*>(&total), sizeof total);
    const std::size_t output = std::strtoul(argv[3], nullptr, 10);
    std::vector<char> reply(total > output ? total : output);
    readAll(fd, reply.data() + sizeof total, total - sizeof total);
    for (std::size_t written = 0; written < output;) {
        const ssize_t got = write(STDOUT_FILENO, reply.data() + written, output - written);
        if (got <= 0) fail("write");
        written += static_cast<std::size_t>(got);
    }
    return 0;
}
