#include "tests/platform/node_support.h"

#include <sys/socket.h>

namespace {

using Body = int (*)(const std::string&);
constexpr std::size_t ARGUMENT_MAX = 4096;

/// Parent's end of the connection with the process that runs bodies in fresh children of its own.
int nursery = -1;

/// A request is the body's address, which is the same in all forked processes, and its argument.
void serve_requests(int fd) {
    char request[sizeof(Body) + ARGUMENT_MAX];
    while (true) {
        const ssize_t length = recv(fd, request, sizeof request, 0);
        if (length < static_cast<ssize_t>(sizeof(Body))) _exit(0);
        Body body = nullptr;
        std::memcpy(&body, request, sizeof body);
        const std::string argument(request + sizeof body, request + length);
        const int status = run_in_child([&] { return body(argument); });
        send(fd, &status, sizeof status, MSG_NOSIGNAL);
    }
}

/// Before the first test, so that its children inherit nothing of any.
void start_nursery() {
    int ends[2];
    if (socketpair(AF_UNIX, SOCK_SEQPACKET | SOCK_CLOEXEC, 0, ends) != 0) std::abort();
    if (fork() == 0) {
        close(ends[0]);
        serve_requests(ends[1]);
    }
    close(ends[1]);
    nursery = ends[0];
}

[[maybe_unused]] const auto* const node =
    TestNode::of("node_name = testnode\nnodes = 1:testnode, 2:other\nmessage_time = 1\n"
                 "cluster_registry = dir:zks\nlocal_registry = dir:zkl\n",
                 start_nursery);

} // namespace

int run_in_fresh_process(Body body, const std::string& argument) {
    std::string request(sizeof body, '\0');
    std::memcpy(request.data(), &body, sizeof body);
    request += argument;
    int status = -1;
    send(nursery, request.data(), request.size(), MSG_NOSIGNAL);
    return recv(nursery, &status, sizeof status, 0) == sizeof status ? status : -1;
}
