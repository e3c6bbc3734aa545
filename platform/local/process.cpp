#include "platform/include/process.h"

#include "platform/include/diagnostics.h"
#include "platform/include/node_config.h"
#include "platform/include/slots.h"
#include "platform/local/configuration_record.h"
#include "platform/local/descriptor.h"

#include <fcntl.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <iostream>

namespace {

/// Longest time that the end of a process waits for its diagnostics.
constexpr unsigned FLUSH_TIME_MS = 1000;

/// The kernel services need no preparation; only unpaired ends are told.
constinit std::atomic<int> kernelServiceUsers{0};

void flush_streams() {
    std::cout.flush();
    std::cerr.flush();
    std::clog.flush();
    std::fflush(nullptr);
}

int fail_system(slos* err, const char* operation, const char* location, const char* other) {
    slos_fill(err, SLOS_SYSTEM, operation, location, errno, other);
    return 1;
}

/// Makes the stream a copy of `null`, which may be that very stream when it was closed before.
bool nullify(platform::Descriptor& null, int stream) {
    if (null.get() != stream) return dup2(null.get(), stream) == stream;
    null.release();
    if (fcntl(stream, F_SETFD, 0) != 0) return false;
    null.reset(fcntl(stream, F_DUPFD_CLOEXEC, STDERR_FILENO + 1));
    return static_cast<bool>(null);
}

} // namespace

int scls_meta_init(slos* err, unsigned /*flags*/) {
    slos_clear(err);
    scls_reserve_standard_streams();
    node_config_error error;
    if (node_config_get(&error) == nullptr) {
        fill_configuration_record(err, error);
        return 1;
    }
    return clsgGet(CLSG_IDENTITY) == nullptr ? 1 : 0;
}

int scls_stdio_nullify(unsigned /*zero*/, slos* err, unsigned streams) {
    slos_clear(err);
    flush_streams();
    if (streams >> (STDERR_FILENO + 1) != 0) {
        errno = EINVAL;
        return fail_system(err, "scls_stdio_nullify", "streams", "not a standard stream");
    }
    platform::Descriptor null(open("/dev/null", O_RDWR | O_CLOEXEC));
    if (!null) return fail_system(err, "open", "nullify", "/dev/null");
    for (int stream = STDIN_FILENO; stream <= STDERR_FILENO; ++stream)
        if ((streams >> stream & 1U) != 0 && !nullify(null, stream))
            return fail_system(err, "dup2", "nullify", "/dev/null");
    return 0;
}

void scls_exit_fast(int code, int mode) {
    flush_streams();
    // Only the low 8 bits of a status reach the parent.
    const bool would_look_well = (code & 0xff) == 0;
    _exit(mode == 1 && would_look_well ? 1 : code);
}

void slzabort() {
    flush_streams();
    std::abort();
}

bool clsuInDevelopmentMode() {
    const char* const value = std::getenv("VORN_DEVELOPMENT");
    return value != nullptr && *value != '\0';
}

int clshinit() {
    return clsgGet(CLSG_IDENTITY) != nullptr && clsgGet(CLSG_LSF) != nullptr ? 0 : 1;
}

int clshterm() {
    return clsdfflush_to(CLSD_FLUSH_ALL, FLUSH_TIME_MS);
}

int clskInit() {
    ++kernelServiceUsers;
    return 0;
}

int clskTerm() {
    if (kernelServiceUsers.fetch_sub(1) > 0) return 0;
    ++kernelServiceUsers;
    return 1;
}

void scls_reserve_standard_streams() {
    for (int stream = STDIN_FILENO; stream <= STDERR_FILENO; ++stream) {
        if (fcntl(stream, F_GETFD) != -1 || errno != EBADF) continue;
        // Opened for the wrong direction: using the stream goes on failing as on a closed one. The
        // number is the lowest free one, as those below have been seen to.
        const int mode = stream == STDIN_FILENO ? O_WRONLY : O_RDONLY;
        static_cast<void>(open("/dev/null", mode));
    }
}

void scls_ignore_broken_pipes() {
    std::signal(SIGPIPE, SIG_IGN);
}
